#include "FluvaneCore/Words.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

using namespace fluvane;
using namespace testsupport;

namespace {

TEST(Words, Sizes) {
    const Rows<std::int64_t, const char*> rows = {
        {1, "1 byte"},
        {999, "999 bytes"},
        {1050, "1.1 KB"},
        {999'949, "999.9 KB"},
        {999'950, "1 MB"},
        {1'234'567'890, "1.2 GB"},
        {std::numeric_limits<std::int64_t>::max(), "9.2 EB"},
        {-1, "0 bytes"},
    };
    expectRows(rows, Words::bytes);
}

TEST(Words, Speeds) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Rows<double, const char*> rows = {
        {5e6, "5 MB/s"},        {999.6, "1 KB/s"},           {-3, "0 bytes/s"},
        {infinity, "9.2 EB/s"}, {std::nan(""), "0 bytes/s"},
    };
    expectRows(rows, Words::speed);
}

TEST(Words, TimesLeft) {
    const Rows<double, const char*> rows = {
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
    expectRows(rows, Words::timeLeft);
}

TEST(Words, PercentIsFullOnlyAtTheEnd) {
    const Rows<double, const char*> rows = {
        {0.29, "29 %"}, {0.999999999999, "99 %"}, {1, "100 %"}, {-1, "0 %"}, {std::nan(""), "0 %"},
    };
    expectRows(rows, Words::percent);
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
