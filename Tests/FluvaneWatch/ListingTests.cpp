// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Listing.h"

#include <gtest/gtest.h>

namespace fluvane::watch {
namespace {

TEST(Listing, ReadsWhatIsShown) {
    const auto rows = parseListing(R"([
        {"id": 7, "name": "a.iso", "state": "failed", "reason": "No.", "url": "https://host/a.iso", "folder": "/f",
         "downloaded": 10, "size": 40, "connections": 3, "bytesPerSecond": 5, "checksum": "sha1:ab",
         "checksumMatches": false, "file": "/f/a.iso", "placeInLine": 2, "later": {}},
        {"id": 8, "name": "b", "state": "queued", "downloaded": 0, "connections": 0, "bytesPerSecond": 0},
        {"id": 9, "name": "c", "state": "thawing"}])");
    ASSERT_TRUE(rows);
    const Row whole{.id = DownloadID{7},
                    .name = "a.iso",
                    .state = StateKind::failed,
                    .reason = "No.",
                    .file = "/f/a.iso",
                    .downloaded = 10,
                    .size = 40,
                    .bytesPerSecond = 5,
                    .connections = 3,
                    .checksum = "sha1:ab",
                    .checksumMatches = false,
                    .placeInLine = 2};
    EXPECT_EQ(*rows, (std::vector<Row>{whole,
                                       {.id = DownloadID{8}, .name = "b", .state = StateKind::queued},
                                       {.id = DownloadID{9}, .name = "c", .state = UnknownState{"thawing"}}}));
}

TEST(Listing, RefusesWhatIsNoList) {
    const struct {
        const char* name;
        const char* json;
        bool isList;
    } cases[] = {
        {"empty list", "[]", true},
        {"negative counts", R"([{"id":1,"state":"paused","downloaded":-5,"size":-1}])", true},
        {"nothing", "", false},
        {"cut off", R"([{"id":1)", false},
        {"an object", "{}", false},
        {"no objects", "[1]", false},
        {"no number", R"([{"state":"paused"}])", false},
        {"no state", R"([{"id":1}])", false},
        {"wrong type", R"([{"id":1,"state":"paused","size":"big"}])", false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto rows = parseListing(row.json);
        EXPECT_EQ(rows.has_value(), row.isList);
        for (const auto& parsed : rows.value_or(std::vector<Row>())) {
            EXPECT_EQ(parsed.downloaded, 0);
            EXPECT_FALSE(parsed.size);
        }
    }
}

} // namespace
} // namespace fluvane::watch
