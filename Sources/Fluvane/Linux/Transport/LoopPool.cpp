// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/LoopPool.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace fluvane {

LoopPool::~LoopPool() {
    for (const auto* loops : {&taken_, &spare_}) { // all before the first is waited for
        std::ranges::for_each(*loops, [](const auto& loop) { loop->inbox()->close(); });
    }
}

TransferLoop& LoopPool::loopFor(std::int64_t group) {
    takeBack();
    const auto own = std::ranges::find_if(taken_, [&](const auto& loop) { return loop->serves(group); });
    if (own != taken_.end()) {
        return **own;
    }
    if (spare_.empty() && taken_.size() == most) {
        return **std::ranges::min_element(taken_, {}, [](const auto& loop) { return loop->load(); });
    }
    if (spare_.empty()) {
        spare_.push_back(std::make_unique<TransferLoop>(options_, limiter_));
    }
    taken_.push_back(std::move(spare_.back()));
    spare_.pop_back();
    endSpare();
    return *taken_.back();
}

void LoopPool::wake() {
    for (const auto* loops : {&taken_, &spare_}) {
        std::ranges::for_each(*loops, [](const auto& loop) { loop->inbox()->wake(); });
    }
}

/// Those whose transfers are done: one that waits for its disk isn't free, even if all of them were
/// cancelled.
void LoopPool::takeBack() {
    const auto free = std::stable_partition(taken_.begin(), taken_.end(),
                                            [](const auto& loop) { return loop->load() > 0; });
    std::move(free, taken_.end(), std::back_inserter(spare_));
    taken_.erase(free, taken_.end());
}

/// The oldest and those that can't be woken, and only those whose thread doesn't have to be waited for.
void LoopPool::endSpare() {
    auto surplus = spare_.size() - std::min(spare_.size(), mostSpare);
    std::erase_if(spare_, [&](const auto& loop) {
        const bool ends = (surplus > 0 || !loop->canBeWoken()) && loop->isAsleep();
        surplus -= ends && surplus > 0 ? 1 : 0;
        return ends;
    });
}

} // namespace fluvane
