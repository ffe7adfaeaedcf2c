// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Download.h"

#include "FluvaneCore/CheckedMath.h"

#include <algorithm>

#include <fmt/format.h>

namespace fluvane {

int Download::connections() const {
    return static_cast<int>(
        std::ranges::count_if(transfers, [](const auto& entry) { return !entry.second.isProbe; }));
}

std::vector<Piece> Download::livePieces() const {
    auto pieces = record.pieces;
    for (const auto& [start, active] : transfers) {
        const auto index = indexStarting(pieces, start);
        if (!active.offset || !index) {
            continue;
        }
        auto& piece = pieces[*index];
        const auto reached = std::max(*active.offset, active.transfer->position());
        piece.setDone(std::max(piece.done, checkedSubtract(reached, start)));
    }
    return pieces;
}

std::int64_t Download::liveBytes() const {
    return transfers.empty() ? record.doneBytes() : doneBytes(livePieces());
}

std::string Download::pieceLabel(std::int64_t offset) const {
    const auto index = indexStarting(record.pieces, offset);
    const auto number = index ? fmt::format("{} of {}", *index + 1, record.pieces.size()) : std::string("?");
    return fmt::format("{} (from byte {})", number, offset);
}

} // namespace fluvane
