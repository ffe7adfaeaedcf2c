// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Listing.h"
#include "FluvaneWatch/Phrases.h"

#include "Support/Numbers.h"

#include <gtest/gtest.h>

namespace fluvane::watch {
namespace {

using namespace support;

TEST(Listing, ReadsWhatIsShown) {
    const auto rows = parseListing(R"([
        {"id": 3, "name": "a.iso", "state": "downloading", "downloaded": 500000, "size": 2000000, "connections": 2,
         "bytesPerSecond": 50000, "later": {}},
        {"id": 7, "name": "b", "state": "finished", "downloaded": 4, "size": 4, "file": "/f/\ttab",
         "checksum": "sha1:ab", "checksumMatches": true},
        {"id": 8, "name": "c", "state": "failed", "reason": "No."},
        {"id": 9, "name": "d", "state": "thawing", "placeInLine": 2}])");
    ASSERT_TRUE(rows);
    std::string lines;
    for (const auto& row : *rows) {
        lines += plainLine(row) + "\n";
    }
    EXPECT_EQ(lines,
              "3 a.iso: Downloading, 25 %, 500 KB of 2 MB, 50 KB/s, about 30 seconds left, 2 connections\n"
              "7 b: Finished, 4 bytes, SHA-1 matches, /f/\uFFFDtab\n"
              "8 c: No.\n"
              "9 d: thawing, number 2 in line\n");
}

TEST(Listing, RefusesWhatIsNoList) {
    for (const char* const json :
         {"", "{}", "[1]", R"([{"id":1)", R"([{"id":1}])", R"([{"id":1,"state":"paused","size":"big"}])"}) {
        EXPECT_FALSE(parseListing(json)) << json;
    }
    EXPECT_EQ(parseListing(R"([{"id":1,"state":"paused","downloaded":-5,"size":-1}])"),
              std::vector<Row>({{.id = 1_id, .state = StateKind::paused}}));
}

} // namespace
} // namespace fluvane::watch
