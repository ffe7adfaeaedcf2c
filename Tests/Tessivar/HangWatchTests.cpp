// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/HangWatch.h"

#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/HangJudge.h"
#include "Tessivar/Qt/WatchedApplication.h"
#include "Tessivar/Symbols.h"

#include <QEventLoop>
#include <QTimer>

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <semaphore>
#include <thread>

using namespace std::chrono_literals;
using fluvane::support::TemporaryFolder;
using tessivar::HangJudge;
using tessivar::HangWatch;
using tessivar::Report;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr auto deadline = 20s;

/// A watch on the calling thread that tells of its hangs.
struct Watched {
    TemporaryFolder folder;
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

    __attribute__((noinline)) bool workUntilHung() { return hung.try_acquire_for(deadline); }

    std::vector<Report> reports() { return tessivar::reportsIn(folder.path()); }
};

std::vector<std::string> functionsIn(Report report) {
    tessivar::findSymbols(report);
    std::vector<std::string> all;
    for (const auto& frame : report.frames) {
        all.push_back(tessivar::demangled(frame.symbol));
    }
    return all;
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
            ASSERT_TRUE(main.workUntilHung());
            ASSERT_EQ(main.reports().size(), count);
            EXPECT_FALSE(main.reports().back().number("Lasted"));
        }
        ASSERT_TRUE(main.recovered.try_acquire_for(deadline));
        EXPECT_GE(main.lasted.back(), 100ms);
    }
    main.watch.stop();
    EXPECT_FALSE(main.hung.try_acquire());
    const auto reports = main.reports();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_THAT(reports, Each(Field(&Report::isHang, true)));
    for (const auto& report : reports) {
        EXPECT_GE(report.number("Lasted"), 100);
#ifndef __SANITIZE_THREAD__ // which holds signals back until they are in calls of its own
        EXPECT_THAT(functionsIn(report), Contains(HasSubstr("Watched::workUntilHung()")));
#endif
    }
}

TEST(HangWatch, EndsARecordedHangWhenItStopsAndCanStartAgain) {
    Watched main;
    for (std::size_t count = 1; count <= 2; ++count) {
        main.watch.start();
        ASSERT_TRUE(main.workUntilHung());
        main.watch.stop();
        EXPECT_EQ(main.lasted.size(), count);
    }
}

TEST(HangWatch, ThreadsOtherThanTheWatchedOneMarkNothing) {
    Watched main;
    main.watch.start();
    std::thread([&] { main.watch.idle(); }).join();
    EXPECT_TRUE(main.workUntilHung());
}

TEST(HangWatch, RecordsAHangWhoseStackCantBeHad) {
    Watched main;
    main.watch.start();
    sigset_t stackSignal;
    sigemptyset(&stackSignal);
    sigaddset(&stackSignal, SIGURG);
    pthread_sigmask(SIG_BLOCK, &stackSignal, nullptr);
    EXPECT_TRUE(main.workUntilHung());
    pthread_sigmask(SIG_UNBLOCK, &stackSignal, nullptr);
    main.watch.stop();
    ASSERT_EQ(main.reports().size(), 1U);
    EXPECT_TRUE(main.reports().front().frames.empty());
    EXPECT_FALSE(main.reports().front().fact("State").empty());
}

// What goes on in an event is a hang, an inner loop that waits is none.
TEST(WatchedApplication, KnowsAnInnerLoopFromAHang) {
    int count = 1;
    char name[] = "test";
    char* arguments[] = {name, nullptr};
    Watched main;
    tessivar::WatchedApplication<QCoreApplication> application(count, arguments, main.watch);
    main.watch.start();
    QTimer::singleShot(0, [&] {
        QEventLoop inner;
        QTimer::singleShot(400ms, &inner, &QEventLoop::quit);
        inner.exec();
        EXPECT_FALSE(main.hung.try_acquire());
        EXPECT_TRUE(main.workUntilHung()); // behind the inner loop, in the same event
        QTimer::singleShot(0, [&] {
            EXPECT_TRUE(main.recovered.try_acquire_for(deadline));
            EXPECT_TRUE(main.workUntilHung());
            QCoreApplication::quit();
        });
    });
    QCoreApplication::exec();
    main.watch.stop();
    EXPECT_EQ(main.reports().size(), 2U);
}
