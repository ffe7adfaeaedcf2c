// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Words.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <utility>

using namespace fluvane;
using namespace support;

namespace {

TEST(Words, SizesAndSpeeds) {
    const Rows<std::int64_t, const char*> sizes = {
        {1, "1 byte"},         {999, "999 bytes"}, {1050, "1.1 KB"},
        {999'949, "999.9 KB"}, {999'950, "1 MB"},  {std::numeric_limits<std::int64_t>::max(), "9.2 EB"},
        {-1, "0 bytes"},
    };
    expectRows(sizes, words::bytes);
    const Rows<double, const char*> speeds = {
        {999.6, "1 KB/s"}, {-3, "0 bytes/s"}, {HUGE_VAL, "9.2 EB/s"}, {std::nan(""), "0 bytes/s"}};
    expectRows(speeds, words::speed);
    const Rows<double, const char*> percents = {
        {0.29, "29 %"}, {0.999999999999, "99 %"}, {1, "100 %"}, {-1, "0 %"}, {std::nan(""), "0 %"}};
    expectRows(percents, words::percent);
}

TEST(Words, Times) {
    const Rows<double, const char*> left = {
        {9.9, "a few seconds left"},
        {41, "about 40 seconds left"},
        {89, "about a minute left"},
        {170, "about 3 minutes left"},
        {59.6 * 60, "about an hour left"},
        {2.2 * 3600, "about 2 hours left"},
        {23.6 * 3600, "about a day left"},
        {3 * 86400, "about 3 days left"},
        {std::nan(""), "more than a year left"},
    };
    expectRows(left, words::timeLeft);
    const Rows<double, const char*> untilRetry = {
        {-1, "Trying again in a moment."},
        {1.9, "Trying again in a moment."},
        {4, "Trying again in a few seconds."},
        {38, "Trying again in about 40 seconds."},
    };
    expectRows(untilRetry, words::retry);
}

TEST(Words, StatesAndChecksums) {
    EXPECT_EQ(words::state(StateKind::failed, "The disk is full."), "The disk is full.");
    EXPECT_THAT(words::checksumMismatch("MD5", "/tmp/in"),
                testing::AllOf(testing::HasSubstr("Its MD5 doesn't"), testing::HasSubstr("in /tmp/in;")));
}

TEST(Words, LinesForEveryState) {
    using P = words::Progress;
    constexpr std::int64_t big = 3'000'000'000;
    constexpr std::int64_t part = 1'234'000'000;
    const P running{.state = StateKind::downloading,
                    .done = part,
                    .size = big,
                    .bytesPerSecond = 5e6,
                    .secondsLeft = 170,
                    .connections = 8};
    const auto with = [](P progress, auto change) {
        change(progress);
        return progress;
    };
    const P done{
        .state = StateKind::finished, .done = 7, .size = big, .folder = "/d", .when = "today at 9:05"};
    const NamedRows<P, const char*> rows = {
        {"running", running, "1.2 GB of 3 GB, 5 MB/s, about 3 minutes left, 8 connections"},
        {"size unknown",
         {.state = StateKind::downloading, .done = 2000, .secondsLeft = 3, .connections = 1},
         "2 KB, 0 bytes/s, 1 connection"},
        {"prioritized", with(running, [](P& p) { p.secondsLeft.reset(), p.prioritized = true; }),
         "1.2 GB of 3 GB, 5 MB/s, 8 connections, prioritized"},
        {"in line", {.state = StateKind::queued, .placeInLine = 2}, "Number 2 in line"},
        {"in line again",
         {.state = StateKind::queued, .done = part, .size = big, .placeInLine = 1},
         "Number 1 in line, 1.2 GB of 3 GB"},
        {"paused",
         {.state = StateKind::paused, .done = 1'350'000'000, .size = big},
         "Paused at 45 %, 1.4 GB of 3 GB"},
        {"paused before it began", {.state = StateKind::paused}, "Paused"},
        {"paused, size unknown", {.state = StateKind::paused, .done = 2000}, "Paused, 2 KB"},
        {"offline",
         {.state = StateKind::offline, .done = part, .size = big},
         "Paused: you're offline. It picks up when you're back."},
        {"retrying",
         {.state = StateKind::retrying, .done = 1, .size = 2},
         "Trying again in a moment, 1 byte of 2 bytes"},
        {"retrying for a reason",
         {.state = StateKind::retrying, .reason = "It\nbroke.", .retryIn = 40, .done = 1, .size = 2},
         "It\uFFFDbroke. Trying again in about 40 seconds."},
        {"failed", {.state = StateKind::failed, .reason = "No\nspace.", .done = 1}, "No\uFFFDspace."},
        {"verifying",
         {.state = StateKind::verifying, .done = big, .size = big},
         "Checking the file, 3 GB of 3 GB"},
        {"finished", done, "3 GB, finished today at 9:05 in /d"},
        {"right", with(done, [](P& p) { p.checksumName = "MD5", p.checksumMatches = true, p.folder = ""; }),
         "3 GB, finished today at 9:05, MD5 matches"},
        {"wrong", with(done, [](P& p) { p.checksumName = "MD5", p.checksumMatches = false, p.when = ""; }),
         "MD5 doesn't match, 3 GB, in /d"},
        {"empty file", {.state = StateKind::finished, .size = 0}, "0 bytes"},
    };
    expectRows(rows, words::line);
}

TEST(Words, Totals) {
    EXPECT_EQ(words::totals({.running = 2, .waiting = 3, .bytesPerSecond = 12e6, .speedLimit = 20'000'000}),
              "2 running, 3 waiting, 12 MB/s, up to 20 MB/s");
    EXPECT_EQ(words::totals({.waiting = 1}), "Nothing running, 1 waiting");
}

TEST(Words, Fractions) {
    const NamedRows<words::Progress, std::optional<double>> rows = {
        {"finished", {.state = StateKind::finished}, 1.0},
        {"more than its size", {.state = StateKind::paused, .done = 9, .size = 6}, 1.0},
        {"empty", {.state = StateKind::paused, .size = 0}, 1.0},
        {"size unknown", {.state = StateKind::paused, .done = 9}, std::nullopt},
        {"senseless size", {.state = StateKind::paused, .size = -5}, std::nullopt},
    };
    expectRows(rows, words::fraction);
}

TEST(Words, Moments) {
    const auto moment = [](int year, int month, int day, int hour, int minute) {
        std::tm parts{};
        parts.tm_year = year - 1900, parts.tm_mon = month - 1, parts.tm_mday = day;
        parts.tm_hour = hour, parts.tm_min = minute, parts.tm_isdst = -1;
        return std::chrono::system_clock::from_time_t(std::mktime(&parts));
    };
    const Date now = moment(2026, 1, 1, 0, 30);
    EXPECT_EQ(words::when(moment(2026, 1, 1, 0, 5), {now}), "today at 0:05");
    EXPECT_EQ(words::when(moment(2025, 12, 31, 23, 59), {now}), "yesterday at 23:59");
    EXPECT_EQ(words::when(moment(2025, 12, 30, 12, 0), {now}), "30 December 2025");
    EXPECT_EQ(words::when(moment(2026, 5, 3, 12, 0), {now}), "3 May"); // a clock that was set back
}

} // namespace
