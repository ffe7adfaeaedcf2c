// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/HangWatch.h"

#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/HangJudge.h"
#include "Tessivar/Qt/WatchedApplication.h"
#include "Tessivar/Report.h"

#include <QEventLoop>
#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <dlfcn.h>
#include <semaphore>
#include <thread>

namespace tessivar {

using namespace std::chrono_literals;
using namespace testing;

namespace {

constexpr auto deadline = 20s;

/// A watch on the calling thread that tells of its hangs.
struct Watched {
    fluvane::support::TemporaryFolder folder;
    std::counting_semaphore<> hung{0};
    std::counting_semaphore<> recovered{0};
    std::vector<std::chrono::milliseconds> lasted;
    HangWatch watch{{.folder = folder.path(),
                     .limit = 100ms,
                     .hung = [this] { hung.release(); },
                     .recovered =
                         [this](auto time) {
                             lasted.push_back(time);
                             recovered.release();
                         }}};

    [[nodiscard]] std::vector<Report> reports() const { return reportsIn(folder.path()); }
};

__attribute__((noinline)) bool workUntilHung(Watched& watched) {
    return watched.hung.try_acquire_for(deadline);
}

/// Whether one of the frames is in the function above.
bool isAtWork(const Report& report) {
    Dl_info module{};
    const auto* const function = reinterpret_cast<const char*>(&workUntilHung);
    dladdr(function, &module);
    const auto begin = static_cast<std::uint64_t>(function - static_cast<const char*>(module.dli_fbase));
    return std::ranges::any_of(report.frames, [&](const Report::Frame& frame) {
        return frame.offset > begin && frame.offset < begin + 500 && frame.buildID.size() >= 8;
    });
}

/// A look a letter, 1 s each: the step in lower case while it works, "." idle; "L" late, "Z" after a sleep of
/// the machine, "T" stopped, all at the same step as before. Told: "i"dle, "w"orking, "H"angs.
std::string verdicts(const std::string& looks) {
    HangJudge judge(4s);
    HangJudge::Look look;
    std::string told;
    for (const char c : looks) {
        look.due += 1s;
        look.now = look.due + (c == 'L' ? 30s : 10ms);
        look.asleep += c == 'Z' ? 3600s : 0s;
        look.stopped = c == 'T';
        if (c == '.') {
            look.step = 0;
        } else if (c >= 'a') {
            look.step = static_cast<std::uint64_t>(c) * 2 + 1;
        }
        told += "iwH"[static_cast<int>(judge.at(look))];
        look.due = look.now;
    }
    return told;
}

} // namespace

TEST(HangJudge, TellsHangsFromWorkAndFromStandingStill) {
    fluvane::support::expectRows(fluvane::support::Rows<std::string, std::string>{{".....", "iiiii"},
                                                                                  {"abcdefgh", "wwwwwwww"},
                                                                                  {"aaaaa", "wwwwH"},
                                                                                  {"aaaabaaaa", "wwwwwwwww"},
                                                                                  {"aa..aaaaa", "wwiiwwwwH"},
                                                                                  {"aaaaL", "wwwww"},
                                                                                  {"aaaLaaaa", "wwwwwwwH"},
                                                                                  {"aaaZaaaa", "wwwwwwwH"},
                                                                                  {"aaaTTTTT", "wwwwwwww"}},
                                 verdicts);
}

TEST(HangWatch, RecordsAHangOnceWithItsStackAndHowLongItLasted) {
    Watched main;
    main.watch.start();
    for (const std::size_t count : {1U, 2U}) {
        {
            const HangWatch::Work work(main.watch);
            std::thread([&] { main.watch.idle(); }).join(); // which isn't that thread's to say
            ASSERT_TRUE(workUntilHung(main));
            ASSERT_EQ(main.reports().size(), count);
            EXPECT_FALSE(main.reports().back().number("Lasted"));
        }
        ASSERT_TRUE(main.recovered.try_acquire_for(deadline));
        EXPECT_GE(main.lasted.back(), 100ms);
    }
    main.watch.stop();
    EXPECT_FALSE(main.hung.try_acquire());
    ASSERT_EQ(main.reports().size(), 2U);
    for (const auto& report : main.reports()) {
        EXPECT_TRUE(report.isHang);
        EXPECT_GE(report.number("Lasted"), 100);
#ifndef __SANITIZE_THREAD__ // which holds signals back until they are in calls of its own
        EXPECT_TRUE(isAtWork(report));
#endif
    }
}

TEST(HangWatch, EndsARecordedHangWhenItStopsAndStartsAgainAlsoWhereNoStackCanBeHad) {
    Watched main;
    main.watch.start();
    ASSERT_TRUE(workUntilHung(main));
    main.watch.stop();
    EXPECT_EQ(main.lasted.size(), 1U);
    main.watch.start();
    sigset_t stackSignal;
    sigemptyset(&stackSignal);
    sigaddset(&stackSignal, SIGURG);
    pthread_sigmask(SIG_BLOCK, &stackSignal, nullptr);
    EXPECT_TRUE(workUntilHung(main));
    pthread_sigmask(SIG_UNBLOCK, &stackSignal, nullptr);
    main.watch.stop();
    ASSERT_EQ(main.reports().size(), 2U);
    EXPECT_TRUE(main.reports().back().frames.empty());
    EXPECT_FALSE(main.reports().back().fact("State").empty());
}

// What goes on in an event is a hang, an inner loop that waits is none.
TEST(WatchedApplication, KnowsAnInnerLoopFromAHang) {
    int count = 1;
    char name[] = "test";
    char* arguments[] = {name, nullptr};
    Watched main;
    WatchedApplication<QCoreApplication> application(count, arguments, main.watch);
    main.watch.start();
    QTimer::singleShot(0, [&] {
        QEventLoop inner;
        QTimer::singleShot(400ms, &inner, &QEventLoop::quit);
        inner.exec();
        EXPECT_FALSE(main.hung.try_acquire());
        EXPECT_TRUE(workUntilHung(main)); // behind the inner loop, in the same event
        QTimer::singleShot(0, [&] {
            EXPECT_TRUE(main.recovered.try_acquire_for(deadline));
            EXPECT_TRUE(workUntilHung(main));
            QCoreApplication::quit();
        });
    });
    QCoreApplication::exec();
    main.watch.stop();
    EXPECT_EQ(main.reports().size(), 2U);
}

} // namespace tessivar
