// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/HangWatch.h"

#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/HangJudge.h"
#include "Tessivar/Report.h"

#include <gtest/gtest.h>

#include <semaphore>
#include <thread>

namespace tessivar {

using namespace std::chrono_literals;

namespace {

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

    [[nodiscard]] bool isHung() { return hung.try_acquire_for(20s); }
    [[nodiscard]] std::vector<Report> reports() const { return reportsIn(folder.path()); }
};

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
    const fluvane::support::Rows<std::string, std::string> rows = {
        {"abcdefgh", "wwwwwwww"}, {"aaaabaaaa", "wwwwwwwww"}, {"aa..aaaaa", "wwiiwwwwH"},
        {"aaaLaaaa", "wwwwwwwH"}, {"aaaZaaaa", "wwwwwwwH"},   {"aaaTTTTT", "wwwwwwww"}};
    fluvane::support::expectRows(rows, verdicts);
}

TEST(HangWatch, RecordsAHangOnceWithItsStackAndHowLongItLasted) {
    Watched main;
    main.watch.start();
    for (const std::size_t count : {1U, 2U}) {
        {
            const HangWatch::Work work(main.watch);
            std::thread([&] { main.watch.idle(); }).join(); // which isn't that thread's to say
            ASSERT_TRUE(main.isHung());
            ASSERT_EQ(main.reports().size(), count);
            EXPECT_FALSE(main.reports().back().number("Lasted"));
        }
        ASSERT_TRUE(main.recovered.try_acquire_for(20s));
        EXPECT_GE(main.lasted.back(), 100ms);
    }
    main.watch.stop();
    EXPECT_FALSE(main.hung.try_acquire());
    ASSERT_EQ(main.reports().size(), 2U);
    for (const auto& report : main.reports()) {
        EXPECT_TRUE(report.isHang);
        EXPECT_GE(report.number("Lasted"), 100);
#ifndef __SANITIZE_THREAD__ // which holds signals back until they are in calls of its own
        EXPECT_GT(report.frames.size(), 3U);
#endif
    }
}

} // namespace tessivar
