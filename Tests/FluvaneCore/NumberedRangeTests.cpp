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
        {"part[1-3].zip", {"part1.zip", "part2.zip", "part3.zip"}},
        {"part[001-3].zip", {"part001.zip", "part002.zip", "part003.zip"}},
        {"[9-11]", {"9", "10", "11"}},
        {"[08-11]", {"08", "09", "10", "11"}},
        {"[1-010]", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"}},
        {"[00-1]", {"00", "01"}},
        {"[099-101]", {"099", "100", "101"}},
        {"[11-09]", {"11", "10", "9"}},
        {"a[1-2]b[1-2]", {"a1b1", "a1b2", "a2b1", "a2b2"}},
        {"[[1-2]]", {"[1]", "[2]"}},
        {"[1-[3-4]", {"[1-3", "[1-4"}},
        {"[999999999-999999998]", {"999999999", "999999998"}},
        {"[1-1234567890]", {"[1-1234567890]"}},
        {"[1 -2][-2][1-][a-b][1-2", {"[1 -2][-2][1-][a-b][1-2"}},
        {"http://[::1]/a[1-2]", {"http://[::1]/a1", "http://[::1]/a2"}},
        {"", {""}},
    };
    expectRows(rows, numberedRange::expandWord);
}

TEST(NumberedRange, StopsAtTheLimitWithoutCountingOn) {
    const std::string twos = std::string(990, '1') + "2222211222"; // 999 is 1111100111 in twos
    const Rows<std::string, std::string> rows = {
        {"[1-999999999]", "1000"},
        {"[1-1001]", "1000"},
        {"[1-40]x[1-40]", "25x40"},
        {repeated("[1-2]", 1000), twos},
    };
    expectRows(rows, [](const auto& word) {
        const auto words = numberedRange::expandWord(word);
        return words.size() == numberedRange::limit ? words.back() : "";
    });
    const std::string tooLong = repeated("[1-2]", 20'000);
    EXPECT_THAT(numberedRange::expandWord(tooLong), ElementsAre(tooLong));
}

TEST(NumberedRange, ExpandsTextAndKeepsItsWhiteSpace) {
    const Rows<const char*, const char*> rows = {
        {"", ""},
        {" no range \r\n\there ", " no range \r\n\there "},
        {"a[1-2]\t b\nc[3-4]", "a1\na2\t b\nc3\nc4"},
        {"x[1-2]\u3000y\u00A0z[1-2]", "x1\nx2\u3000y\u00A0z1\nz2"},
        {"[no] [1-2] ", "[no] 1\n2 "},
        {"\xFF[1-2]\xE2\x82 é", "\xFF"
                                "1\xE2\x82\n\xFF"
                                "2\xE2\x82 é"},
    };
    expectRows(rows, numberedRange::expand);
}

TEST(NumberedRange, BoundsWhatOneTextComesTo) {
    const std::string short_ = numberedRange::expand(repeated("http://h/[1-9999] ", 50'000));
    EXPECT_EQ(std::count(short_.begin(), short_.end(), '\n'), 100 * 999);
    EXPECT_TRUE(short_.ends_with("http://h/[1-9999] ")) << "the rest stays as it was";
    const std::string long_ = numberedRange::expand(repeated(std::string(8000, 'x') + "[1-9999] ", 100));
    EXPECT_LT(long_.size(), numberedRange::textBytes + 1'000'000);
}

TEST(NumberedRange, SaysWhatComesOfIt) {
    EXPECT_EQ(numberedRange::note("http://h/a.zip [x]", 1),
              "For files in a series, put the numbers in brackets: "
              "part[01-20].zip is part01.zip to part20.zip.");
    EXPECT_EQ(numberedRange::note("see http://h/[1-3][1-2]", 6), "That range makes 6 links.");
    EXPECT_EQ(numberedRange::note("http://h/[1-5000]", 1000),
              "That range makes 1000 links, the most at once.");
    EXPECT_EQ(numberedRange::note("http://h/[1-3] http://h/[2-4]", 4), "Those ranges make 4 links in all.");
}

} // namespace
