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
    return std::max(std::min({setting, orUnlimited(rule_), orUnlimited(busy_), orUnlimited(wholeFile_),
                              orUnlimited(passing_)}),
                    1);
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
