// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Layout.h"

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
    };
    expectRows(rows, [](std::string_view text) { return cut(text, {.width = 7, .tail = 4}); });
    EXPECT_EQ(cut("abcdef", {.width = 2, .tail = 9}), "…f");
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

} // namespace
} // namespace fluvane::watch
