// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Coding.h"
#include "FluvaneCore/DuplicateNaming.h"
#include "FluvaneCore/Rules.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// Every user setting. The JSON keys are the field names.
struct Config {
    int connections = 8;                    ///< "Most connections for each download", 1 to 16.
    int connectionsPerServer = 16;          ///< "Connections to one server", from `connections` to 32.
    int simultaneous = 3;                   ///< "Downloads at once:", 1 to 10.
    std::optional<std::int64_t> speedLimit; ///< Bytes per second for all downloads together, at least 16000.
    std::optional<std::string> folder;      ///< May begin with "~".
    DuplicateNaming duplicateNames = DuplicateNaming::spaceParentheses;
    std::vector<Rule> rules;
    bool keepAwake = true;
    bool waitOnHotspots = true;
    bool notifyWhenDone = true;
    bool detailedLogging = false;
    bool hasCompletedOnboarding = false;
    bool startOffersAtOnce = false;      ///< What a browser offers needs no confirmation.
    bool renewLinksByThemselves = false; ///< So does a fresh link for an expired one.
    std::map<std::string, bool>
        offerSites; ///< Whether what is offered there is downloaded, without a question.

    static constexpr int mostConnections = 16; ///< For each download.
    static constexpr int mostConnectionsPerServer = 32;
    static constexpr int mostSimultaneous = 10;
    static constexpr std::int64_t leastSpeedLimit = 16'000; ///< Bytes per second.
    static constexpr std::array connectionChoices = {1, 2, 4, 6, 8, 12, 16};
    /// Bytes per second.
    static constexpr std::array<std::int64_t, 9> speedLimitChoices = {
        250'000, 500'000, 1'000'000, 2'000'000, 5'000'000, 10'000'000, 25'000'000, 50'000'000, 100'000'000};

    /// Forces every number into its bounds.
    void clamp();

    /// Every optional setting filled in, so that encoding it produces every key.
    [[nodiscard]] static Config everySetting();
    [[nodiscard]] coding::Json encoded() const;
    /// Tolerant: missing keys keep their defaults, broken rules are dropped one by one, numbers are clamped.
    /// A wrong type under any other key fails with DecodingError.
    [[nodiscard]] static Config decoded(const coding::Json& json);

    friend bool operator==(const Config&, const Config&) = default;
};

} // namespace fluvane
