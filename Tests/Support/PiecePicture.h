// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Piece.h"

#include <string_view>
#include <vector>

namespace fluvane::support {

/// Pieces drawn as text: "####--|#---" are two pieces, "#" is written and "-" is not, each sign standing for
/// `unit` bytes. A piece that ends in "~" has no known end.
inline std::vector<Piece> piecesFrom(std::string_view picture, std::int64_t unit = 1) {
    std::vector<Piece> pieces = {Piece{0, 0, 0}};
    std::int64_t offset = 0;
    for (const char sign : picture) {
        if (sign == '|') {
            pieces.push_back(Piece{offset, offset, 0});
        } else if (sign == '~') {
            pieces.back().end.reset();
        } else {
            offset += unit;
            pieces.back().end = offset;
            pieces.back().done += sign == '#' ? unit : 0;
        }
    }
    return pieces;
}

} // namespace fluvane::support
