// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Piece.h"

#include "FluvaneCore/CheckedMath.h"

#include <algorithm>

namespace fluvane {

std::int64_t Piece::next() const {
    return checkedAdd(start, done);
}

std::optional<std::int64_t> Piece::length() const {
    if (!end) {
        return std::nullopt;
    }
    return checkedSubtract(*end, start);
}

std::optional<std::int64_t> Piece::remaining() const {
    if (!end) {
        return std::nullopt;
    }
    return std::max<std::int64_t>(checkedSubtract(*end, next()), 0);
}

bool Piece::isComplete() const {
    return end && next() >= *end;
}

void Piece::setDone(std::int64_t n) {
    const std::int64_t capped = end ? std::min(checkedSubtract(*end, start), n) : n;
    done = std::max<std::int64_t>(capped, 0);
}

std::int64_t doneBytes(const std::vector<Piece>& pieces) {
    std::int64_t sum = 0;
    for (const Piece& piece : pieces) {
        sum = checkedAdd(sum, piece.done);
    }
    return sum;
}

bool allComplete(const std::vector<Piece>& pieces) {
    return !pieces.empty() &&
           std::all_of(pieces.begin(), pieces.end(), [](const Piece& piece) { return piece.isComplete(); });
}

std::optional<std::size_t> indexStarting(const std::vector<Piece>& pieces, std::int64_t start) {
    const auto found = std::find_if(pieces.begin(), pieces.end(),
                                    [start](const Piece& piece) { return piece.start == start; });
    if (found == pieces.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - pieces.begin());
}

} // namespace fluvane
