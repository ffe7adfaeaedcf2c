// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What the inspector shows, without a window.

#include "Fluvane/UI/Models/PiecesPicture.h"
#include "Support/PiecePicture.h"

#include <gtest/gtest.h>

#include <limits>

namespace fluvane::support {

namespace {

/// "#" there, "-" nothing; a column of connection 1 is "1" when it came over it, "a" when nothing has, "*"
/// when what is there was there before. "|" stands before a border.
std::string drawn(const PiecesPicture& picture) {
    std::string text = picture.openEnded ? "~" : "";
    for (std::size_t i = 0; i < picture.columns.size(); ++i) {
        const auto& column = picture.columns[i];
        const bool border = std::ranges::find(picture.borders, static_cast<int>(i)) != picture.borders.end();
        const char letter = static_cast<char>('a' + column.connection - 1);
        text += border ? "|" : "";
        text += column.connection == 0 ? (column.filled == 1 ? '#' : '-')
                : column.filled == 0   ? letter
                : column.arrived       ? static_cast<char>('0' + column.connection)
                                       : '*';
    }
    return text;
}

} // namespace

TEST(PiecesPicture, drawsFilesOfEverySize) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const struct {
        const char* name;
        std::vector<Piece> pieces;
        std::optional<std::int64_t> size;
        std::vector<RunningConnection> connections;
        int columns;
        std::string expected;
    } bars[] = {
        {"who brings what, beside what was there before",
         piecesFrom("####----|####----"),
         16,
         {{.number = 1, .start = 0, .end = 8, .from = 2, .reached = 4, .flows = true},
          {.number = 2, .start = 8, .end = 16, .from = 8, .reached = 13, .flows = true}},
         16,
         "**11aaaa|22222bbb"},
        {"an empty file", {Piece{0, 0, 0}}, 0, {}, 3, "###"},
        {"the last offsets there are", {Piece{0, most, most}}, most, {}, 4, "####"},
        {"no known end",
         piecesFrom("##~"),
         {},
         {{.number = 3, .start = 0, .end = {}, .from = 0, .reached = 2, .flows = true}},
         3,
         "~333"},
        {"a size that can't be", piecesFrom("##~"), -5, {}, 2, "~##"},
    };
    for (const auto& bar : bars) {
        const auto picture = PiecesPicture::make(bar.pieces, bar.size, bar.connections, bar.columns);
        EXPECT_EQ(drawn(picture), bar.expected) << bar.name;
    }
}

} // namespace fluvane::support
