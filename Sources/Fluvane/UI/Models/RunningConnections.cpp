// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RunningConnections.h"

#include <algorithm>

namespace fluvane {

void RunningConnections::look(const Download& download, double now) {
    if (id_ != download.id()) {
        known_.clear();
        id_ = download.id();
    }
    forgetEnded(download);
    list_.clear();
    for (const auto& [start, active] : download.transfers) {
        const auto index = indexStarting(download.record.pieces, start);
        if (active.isProbe || !index) {
            continue;
        }
        const Piece& piece = download.record.pieces[*index];
        RunningConnection shown{
            .start = start, .end = piece.end, .from = piece.next(), .reached = piece.next()};
        auto& mark = known(active.token);
        shown.number = mark.number;
        if (active.offset) {
            shown.flows = true;
            shown.from = active.acceptedAt;
            shown.reached = std::max({*active.offset, active.transfer->position(), shown.reached});
            mark.meter.add(shown.reached, now);
            shown.speed = mark.meter.bytesPerSecond();
        }
        list_.push_back(shown);
    }
    std::ranges::sort(list_, {}, &RunningConnection::number);
}

void RunningConnections::forgetEnded(const Download& download) {
    std::erase_if(known_, [&](const auto& entry) {
        return std::ranges::none_of(download.transfers,
                                    [&](const auto& t) { return t.second.token == entry.first; });
    });
}

RunningConnections::Known& RunningConnections::known(Token token) {
    const auto [entry, isNew] = known_.try_emplace(token);
    if (isNew) {
        entry->second.number = freeNumber();
    }
    return entry->second;
}

int RunningConnections::freeNumber() const {
    int number = 1;
    while (std::ranges::any_of(known_, [&](const auto& entry) { return entry.second.number == number; })) {
        ++number;
    }
    return number;
}

} // namespace fluvane
