// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneWatch/Listing.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The picture in a terminal, as lines. Pure functions; columns are terminal cells.
namespace fluvane::watch {

/// Cells that the text takes at most: where terminals disagree (joined emoji, new characters) the wider
/// count.
[[nodiscard]] std::size_t columns(std::string_view text);
/// Cells that a text gets, up to `tail` of them for its end.
struct Room {
    std::size_t width;
    std::size_t tail = 0;
};
/// The text within its room, cut between whole characters with the ellipsis in place of what is left out.
[[nodiscard]] std::string cut(std::string_view text, const Room& room, std::string_view ellipsis = "…");

struct Style {
    std::size_t width = 80;  ///< Of the terminal. Lines stay below it, so that none ever wraps.
    std::size_t height = 24; ///< Likewise, with a line for the cursor.
    bool colour = false;
    bool unicode = true; ///< Whether more than ASCII may be added to what the names themselves are.
};

struct Line {
    std::string text;      ///< With colour sequences, without a line end.
    std::size_t width = 0; ///< Cells taken.
};

/// What doesn't fit the height is counted in a last line; downloads that run are shown before those that
/// don't.
[[nodiscard]] std::vector<Line> layout(const std::vector<Row>& rows, const Style& style);

} // namespace fluvane::watch
