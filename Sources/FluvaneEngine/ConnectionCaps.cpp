// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ConnectionCaps.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace fluvane {

namespace {

int orUnlimited(const std::optional<int>& cap) {
    return cap.value_or(std::numeric_limits<int>::max());
}

} // namespace

int ConnectionCaps::allowed(int setting) const {
    return std::max(std::min({setting, orUnlimited(rule_), orUnlimited(remembered_), orUnlimited(busy_),
                              orUnlimited(moment_), orUnlimited(wholeFile_), orUnlimited(passing_)}),
                    1);
}

void ConnectionCaps::begin(std::optional<int> rule) {
    *this = {};
    setRule(rule);
}

void ConnectionCaps::setRule(std::optional<int> rule) {
    rule_ = rule;
}

void ConnectionCaps::granted(int serving) {
    if (serving >= proven_) {
        proven_ = serving;
        excused_ = 0;
    }
    outage_ = false;
    if (serving >= refusedAt_) {
        refusedAt_ = 0;
    }
    if (busy_ && serving > *busy_) {
        busy_ = serving; // what it does counts more than what was made of its refusal
    }
}

void ConnectionCaps::notGrantedBeside(int serving) {
    proven_ = std::min(proven_, serving);
}

bool ConnectionCaps::refused(int asked, int serving, int setting) {
    const bool wasGranted = asked <= proven_;
    notGrantedBeside(serving);
    if (wasGranted && excused_++ == 0) {
        return false; // it may not have noticed yet that the connection before was closed
    }
    if (asked <= 2 || serving == 0) {
        // So few say little about how many it bears; one that serves nobody again and again is out, not full.
        if (serving > 0 || !std::exchange(outage_, true)) {
            halve(setting);
        }
        return true;
    }
    if (refusedAt_ == 0 || asked < refusedAt_) {
        refusedAt_ = asked;
        moment_ = std::max(asked / 2, serving);
        return false;
    }
    busy_ = std::min(orUnlimited(busy_), std::max(asked / 2, serving));
    return true;
}

void ConnectionCaps::ignored() {
    busy_ = std::min(orUnlimited(busy_), std::max(proven_, 1));
}

void ConnectionCaps::delayOver() {
    moment_.reset();
}

void ConnectionCaps::halve(int setting) {
    // Not counting what a whole-file answer allows, which may pass.
    busy_ = std::max(std::min({setting, orUnlimited(rule_), orUnlimited(busy_)}) / 2, 1);
    for (auto* const cap : {&wholeFile_, &passing_}) {
        if (*cap) {
            *cap = std::max(**cap / 2, 1);
        }
    }
}

void ConnectionCaps::wholeFile(int running, bool mayPass) {
    auto& cap = mayPass || passing_ ? passing_ : wholeFile_;
    cap = std::max(running, 1);
}

bool ConnectionCaps::partCame() {
    return std::exchange(passing_, std::nullopt).has_value();
}

} // namespace fluvane
