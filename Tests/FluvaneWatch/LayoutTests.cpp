// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Layout.h"

#include "FluvaneCore/Text.h"

#include "Support/Numbers.h"
#include "Support/Rows.h"

#include <gtest/gtest.h>

namespace fluvane::watch {
namespace {

using namespace support;

TEST(Layout, CutsBetweenCharacters) {
    const NamedRows<std::string_view, std::string> rows = {
        {"fits", "abc.is", "abc.is"},
        {"middle", "abcdefgh.iso", "ab….iso"},
        {"wide doesn't fit half", "名前名前.iso", "名….iso"},
        {"mark stays with its letter", "e\u0301e\u0301e\u0301e\u0301.iso", "e\u0301e\u0301….iso"},
        {"joined emoji stay whole", "👩\u200D💻👩\u200D💻", "…👩\u200D💻"},
    };
    expectRows(rows, [](std::string_view text) { return cut(text, {.width = 7, .tail = 4}); });
    EXPECT_EQ(cut("abcdef", {.width = 2, .tail = 9}), "…f");
}

std::vector<Row> everyKind() {
    const std::string endless(400, 'x');
    std::vector<Row> rows = {
        {.id = 1_id, .name = endless + ".iso", .state = StateKind::downloading, .downloaded = 3, .size = 8},
        {.id = 12345_id, .name = "👩\u200D💻❤\uFE0F名前\u0007", .state = StateKind::failed, .reason = endless},
        {.id = 4_id, .state = StateKind::finished, .file = "/f/" + endless, .size = 4, .checksum = "md5:0"},
        {.id = 6_id, .name = "no size", .state = UnknownState{endless}, .downloaded = 77},
    };
    rows[0].bytesPerSecond = 1;
    return rows;
}

TEST(Layout, StaysWithinAnyTerminal) {
    for (const std::size_t width : {1u, 7u, 9u, 20u, 40u, 80u, 200u}) {
        for (const std::size_t height : {1u, 2u, 9u, 40u}) {
            for (const bool rich : {false, true}) {
                SCOPED_TRACE(std::to_string(width) + " by " + std::to_string(height));
                const auto lines = layout(everyKind(), {.width = width, .height = height, .unicode = rich});
                EXPECT_LT(lines.size(), std::max<std::size_t>(height, 3));
                for (const auto& [text, cells] : lines) {
                    EXPECT_EQ(text.find_first_of("\033\a\r\n"), std::string::npos) << text;
                    EXPECT_LE(cells, columns(text) + 2) << text;
                    EXPECT_GE(cells, columns(text)) << text;
                    EXPECT_TRUE(rich || text.find("…") == text.npos) << text;
                    if (width > 8 || text.starts_with("and")) { // there is room beside the widest number
                        EXPECT_LT(columns(text), width) << text;
                    }
                }
            }
        }
    }
}

TEST(Layout, ShowsARunningDownload) {
    const Row running{.id = 3_id,
                      .name = "big.iso",
                      .state = StateKind::downloading,
                      .downloaded = 50'000'000,
                      .size = 100'000'000,
                      .bytesPerSecond = 1'000'000,
                      .connections = 8};
    const auto lines = layout({running}, {.width = 80, .unicode = false});
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].text.starts_with("3  big.iso  "));
    EXPECT_EQ(lines[1].text, "   " + std::string(34, '#') + std::string(35, '-') + "   50 %");
    EXPECT_EQ(lines[2].text, "   50 MB of 100 MB, 1 MB/s, about 50 seconds left, 8 connections");
}

TEST(Layout, CountsWhatDoesNotFit) {
    std::vector<Row> rows(10, {.id = 1_id, .name = "waits", .state = StateKind::queued});
    rows.push_back({.id = 2_id, .name = "runs", .state = StateKind::downloading, .downloaded = 1, .size = 2});
    const auto lines = layout(rows, {.width = 80, .height = 8});
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_NE(lines[0].text.find("runs"), std::string::npos);
    EXPECT_EQ(lines.back().text, "and 7 more");
}

} // namespace
} // namespace fluvane::watch
