#include "FluvaneCore/Words.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

using namespace fluvane;

namespace {

TEST(Words, Sizes) {
    const std::pair<std::int64_t, const char*> rows[] = {
        {1, "1 byte"},
        {999, "999 bytes"},
        {1050, "1.1 KB"},
        {999'949, "999.9 KB"},
        {999'950, "1 MB"},
        {1'234'567'890, "1.2 GB"},
        {std::numeric_limits<std::int64_t>::max(), "9.2 EB"},
        {-1, "0 bytes"},
    };
    for (const auto& [count, text] : rows) {
        EXPECT_EQ(Words::bytes(count), text) << count;
    }
}

TEST(Words, Speeds) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> rows[] = {
        {5e6, "5 MB/s"},        {999.6, "1 KB/s"},           {-3, "0 bytes/s"},
        {infinity, "9.2 EB/s"}, {std::nan(""), "0 bytes/s"},
    };
    for (const auto& [rate, text] : rows) {
        EXPECT_EQ(Words::speed(rate), text) << rate;
    }
}

TEST(Words, TimesLeft) {
    const std::pair<double, const char*> rows[] = {
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
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(Words::timeLeft(seconds), text) << seconds;
    }
}

TEST(Words, PercentIsFullOnlyAtTheEnd) {
    const std::pair<double, const char*> rows[] = {
        {0.29, "29 %"}, {0.999999999999, "99 %"}, {1, "100 %"}, {-1, "0 %"}, {std::nan(""), "0 %"},
    };
    for (const auto& [fraction, text] : rows) {
        EXPECT_EQ(Words::percent(fraction), text) << fraction;
    }
}

TEST(Words, StatesAndChecksums) {
    EXPECT_EQ(Words::state("offline"), "Paused: you're offline. It picks up when you're back.");
    EXPECT_EQ(Words::state("failed", "The disk is full."), "The disk is full.");
    EXPECT_EQ(
        Words::checksumMismatch("MD5", "/tmp/in"),
        "Its MD5 doesn't match the one given, so it may not be the file you meant to get. It's in /tmp/in; "
        "don't open it unless you know why.");
}

} // namespace
