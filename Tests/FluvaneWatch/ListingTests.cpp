// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Listing.h"

#include "Support/Numbers.h"

#include <gtest/gtest.h>

namespace fluvane::watch {
namespace {

using namespace support;

TEST(Listing, ReadsWhatIsShown) {
    const auto rows = parseListing(R"([
        {"id": 7, "name": "a.iso", "state": "failed", "reason": "No.", "url": "https://host/a.iso", "folder": "/f",
         "downloaded": 10, "size": 40, "connections": 3, "checksum": "sha1:ab", "checksumMatches": false,
         "file": "/f/a.iso", "later": {}},
        {"id": 9, "name": "c", "state": "thawing"}])");
    ASSERT_TRUE(rows);
    const Row whole{.id = 7_id,
                    .name = "a.iso",
                    .state = StateKind::failed,
                    .reason = "No.",
                    .file = "/f/a.iso",
                    .downloaded = 10,
                    .size = 40,
                    .connections = 3,
                    .checksum = "sha1:ab",
                    .checksumMatches = false};
    const Row bare{.id = 9_id, .name = "c", .state = UnknownState{"thawing"}};
    EXPECT_EQ(*rows, (std::vector<Row>{whole, bare}));
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
