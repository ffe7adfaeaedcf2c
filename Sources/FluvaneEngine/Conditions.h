// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Speed.h"
#include "FluvaneEngine/Config.h"
#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <optional>

namespace fluvane {

/// Numbers that settings don't change.
struct Tuning {
    std::int64_t minimumPiece = 1024 * 1024; ///< Bytes; the smallest piece worth a connection of its own.
    int maxAttempts = 8;                     ///< Failures in a row that are retried.
    int startingConnections = 2;
    double adaptWindow = 3.0; ///< Seconds.
    double adaptGain = 0.15;  ///< The relative gain in speed that counts as faster.
    Backoff backoff{1.0, 60.0};
};

/// What every part of the engine goes by, and none but the manager changes.
struct Conditions {
    Config config;
    Tuning tuning;
    bool online = true;
    std::optional<LimitedNetwork> limitedNetwork;

    /// What the rule for the link's site allows; absent: no rule says anything.
    [[nodiscard]] std::optional<int> siteRule(const URL& link) const {
        return rules::connections(config.rules, link.site());
    }
    /// Whether the network is one that downloads without leave wait on.
    [[nodiscard]] bool sparesNetwork() const { return limitedNetwork && config.waitOnHotspots; }
};

} // namespace fluvane
