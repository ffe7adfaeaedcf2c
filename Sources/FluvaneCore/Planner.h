// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Piece.h"

#include <cstdint>
#include <map>
#include <optional>
#include <variant>
#include <vector>

/// Cuts a file into pieces and says what a free connection does next. Pure functions without state.
namespace fluvane::planner {

/// Piece boundaries are put on multiples of this where possible.
inline constexpr std::int64_t alignment = 65536;

/// Start a connection on the idle piece with this start.
struct IdlePiece {
    std::int64_t start = 0;
    friend bool operator==(const IdlePiece&, const IdlePiece&) = default;
};
/// End the busy piece `start` at `at`, and give a new piece from there to the old end to the free connection.
struct Split {
    std::int64_t start = 0;
    std::int64_t at = 0;
    friend bool operator==(const Split&, const Split&) = default;
};
using Work = std::variant<IdlePiece, Split>;

/// Start of a busy piece -> the offset its connection has reached.
using Busy = std::map<std::int64_t, std::int64_t>;

[[nodiscard]] std::vector<Piece> split(std::int64_t size, int connections, std::int64_t minimum);
/// With a stride the file is filled from the front: a busy piece is split no further ahead of its connection.
[[nodiscard]] std::optional<Work> nextWork(const std::vector<Piece>& pieces, const Busy& busy,
                                           std::int64_t minimum, std::optional<std::int64_t> stride = {});
/// Makes one of neighbours that are complete and not busy: a long file filled from the front would have a
/// great many.
void joinComplete(std::vector<Piece>& pieces, const Busy& busy);

} // namespace fluvane::planner
