// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Download.h"

#include "FluvaneCore/CheckedMath.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

constexpr double shortestSample = 0.25; ///< Seconds; a burst of some milliseconds is no speed.

/// Brings the piece up to what its transfer has written.
void foldInto(Piece& piece, const Download::Active& active) {
    if (const auto reached = active.reached()) {
        piece.setDone(std::max(piece.done, checkedSubtract(*reached, piece.start)));
    }
}

} // namespace

void Download::Active::accept(const std::shared_ptr<PieceFile>& into, std::int64_t at, const Piece& piece) {
    offset = at;
    acceptedAt = at;
    transfer->accept(into, at, piece.end);
}

std::optional<std::int64_t> Download::Active::reached() const {
    return offset ? std::optional(std::max(*offset, transfer->position())) : std::nullopt;
}

int Download::connectionsTaken() const {
    const auto& state = record.state;
    const bool opensFile =
        (state.is<DownloadState::Starting>() || state.is<DownloadState::Downloading>()) && !file;
    return transfers.empty() && opensFile ? 1 : static_cast<int>(transfers.size());
}

int Download::connections() const {
    return static_cast<int>(
        std::ranges::count_if(transfers, [](const auto& entry) { return !entry.second.isProbe; }));
}

int Download::writing() const {
    return static_cast<int>(
        std::ranges::count_if(transfers, [](const auto& entry) { return entry.second.offset.has_value(); }));
}

int Download::served() const {
    return static_cast<int>(
        std::ranges::count_if(transfers, [](const auto& entry) { return entry.second.isServed(); }));
}

int Download::rescuesOf(std::int64_t start) const {
    const auto found = rescues->find(start);
    return found == rescues->end() ? 0 : found->second;
}

std::vector<Piece> Download::livePieces() const {
    auto pieces = record.pieces;
    for (const auto& [start, active] : transfers) {
        if (const auto index = indexStarting(pieces, start)) {
            foldInto(pieces[*index], active);
        }
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

bool Download::hasEverything() const {
    return transfers.empty() && allComplete(record.pieces);
}

Piece* Download::pieceOf(const Active& active) {
    const auto index = indexStarting(record.pieces, active.start);
    return index ? &record.pieces[*index] : nullptr;
}

void Download::foldIn(const Active& active) {
    if (Piece* const piece = pieceOf(active)) {
        foldInto(*piece, active);
    }
}

void Download::layOut(std::vector<Piece> pieces) {
    claim.layOut(pieces);
    record.pieces = std::move(pieces);
    rescues.reset();
}

void Download::forgetRun() {
    retry.reset();
    caps.reset();
    growth.reset();
    rescues.reset();
}

std::int64_t Download::measure(double now) {
    const auto bytes = liveBytes();
    if (!meter->lastTime || now - *meter->lastTime >= shortestSample) {
        meter.own().add(bytes, now);
    }
    return bytes;
}

} // namespace fluvane
