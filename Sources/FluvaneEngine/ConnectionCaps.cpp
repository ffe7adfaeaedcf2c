// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ConnectionCaps.h"

#include <algorithm>
#include <limits>

namespace fluvane {

namespace {

int orUnlimited(const std::optional<int>& cap) {
    return cap.value_or(std::numeric_limits<int>::max());
}

} // namespace

int ConnectionCaps::allowed(int setting) const {
    return std::max(std::min({setting, orUnlimited(rule_), orUnlimited(busy_), orUnlimited(wholeFile_)}), 1);
}

void ConnectionCaps::begin(std::optional<int> rule) {
    *this = {};
    setRule(rule);
}

void ConnectionCaps::setRule(std::optional<int> rule) {
    rule_ = rule;
}

void ConnectionCaps::halve(int setting) {
    // Not counting what a whole-file answer allows, which may pass.
    busy_ = std::max(std::min({setting, orUnlimited(rule_), orUnlimited(busy_)}) / 2, 1);
    if (wholeFile_) {
        wholeFile_ = std::max(*wholeFile_ / 2, 1);
    }
}

void ConnectionCaps::wholeFile(int running, bool mayPass) {
    wholeFile_ = std::max(running, 1);
    wholeFileMayPass_ = wholeFileMayPass_ || mayPass;
}

bool ConnectionCaps::partCame() {
    if (!wholeFile_ || !wholeFileMayPass_) {
        return false;
    }
    wholeFile_.reset();
    wholeFileMayPass_ = false;
    return true;
}

} // namespace fluvane
