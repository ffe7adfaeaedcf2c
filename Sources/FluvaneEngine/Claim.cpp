// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Claim.h"

namespace fluvane {

void Claim::layOut(const std::vector<Piece>& pieces) {
    ++generation_;
    distrusted_ = false;
    durable_ = pieces.empty() ? std::nullopt : std::optional(pieces);
}

void Claim::carryOn(const std::vector<Piece>& pieces) {
    if (!durable_) {
        durable_ = pieces;
    }
}

void Claim::learnEnd(std::int64_t end) {
    if (durable_) {
        durable_->front().end = end;
        ++generation_;
    }
}

void Claim::distrust(Generation generation) {
    distrusted_ = distrusted_ || generation == generation_;
}

void Claim::reopen(std::vector<Piece>& pieces) {
    if (distrusted_ && durable_) {
        ++generation_;
        distrusted_ = false;
        pieces = *durable_;
    }
}

void Claim::synced(Generation generation, const std::vector<Piece>& pieces, bool isAll) {
    if (generation != generation_ || !durable_ || distrusted_) {
        return;
    }
    durable_ = isAll ? std::nullopt : std::optional(pieces);
}

} // namespace fluvane
