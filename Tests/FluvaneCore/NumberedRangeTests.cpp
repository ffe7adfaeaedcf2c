// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/NumberedRange.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

using namespace fluvane;
using testing::ElementsAre;
using namespace support;

namespace {

TEST(NumberedRange, ExpandsAWord) {
    const Rows<const char*, std::vector<std::string>> rows = {
        {"part[001-3].zip", {"part001.zip", "part002.zip", "part003.zip"}},
        {"[08-11]", {"08", "09", "10", "11"}},
        {"[11-09]", {"11", "10", "9"}},
        {"[1-[3-4]", {"[1-3", "[1-4"}},
        {"[1-1234567890]", {"[1-1234567890]"}},
        {"[1 -2][-2][1-][a-b][1-2", {"[1 -2][-2][1-][a-b][1-2"}},
    };
    expectRows(rows, numberedRange::expandWord);
}

TEST(NumberedRange, StopsAtTheLimitWithoutCountingOn) {
    const std::string twos = std::string(990, '1') + "2222211222"; // 999 is 1111100111 in twos
    const auto words = numberedRange::expandWord(repeated("[1-2]", 1000));
    EXPECT_EQ(words.size(), numberedRange::limit);
    EXPECT_EQ(words.back(), twos);
    EXPECT_EQ(numberedRange::expandWord("[1-40]x[1-40]").back(), "25x40");
    const std::string tooLong = repeated("[1-2]", 20'000);
    EXPECT_THAT(numberedRange::expandWord(tooLong), ElementsAre(tooLong));
}

TEST(NumberedRange, ExpandsTextUpToABound) {
    EXPECT_EQ(numberedRange::expand("a[1-2]\t b\nc[3-4]"), "a1\na2\t b\nc3\nc4");
    const std::string short_ = numberedRange::expand(repeated("http://h/[1-9999] ", 50'000));
    EXPECT_EQ(std::count(short_.begin(), short_.end(), '\n'), 100 * 999);
    EXPECT_TRUE(short_.ends_with("http://h/[1-9999] ")) << "the rest stays as it was";
    const std::string long_ = numberedRange::expand(repeated(std::string(8000, 'x') + "[1-9999] ", 100));
    EXPECT_LT(long_.size(), numberedRange::textBytes + 1'000'000);
}

} // namespace
