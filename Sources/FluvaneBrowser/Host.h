// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Client/CLI.h"
#include "FluvaneBrowser/Said.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane::browser {

/// Carries offers from one connection of the extension to the application, and answers back.
///
/// An offer begins with "asking" once the application has it, and ends with "declined", with the verdict
/// after "agreed", or with the connection. The application is started for an offer, and for a verdict by
/// which the browser's own download is gone: then nobody else has the file. Nothing else starts it.
class Host {
public:
    using Clock = std::chrono::steady_clock;
    struct Effects {
        /// Absent: nobody answered within the patience.
        std::function<std::optional<cli::Answer>(const std::vector<std::string>&, std::chrono::milliseconds)>
            send;
        std::function<bool()> launch;
        std::function<void(std::string_view json)> say; ///< To the extension.
        std::function<Clock::time_point()> now;
    };

    explicit Host(Effects effects) : effects_(std::move(effects)) {}

    void receive(std::string_view message);
    /// Asks the application how things stand; to be called each `betweenLooks` while `isWaiting`.
    void look();
    /// The connection ended: whatever wasn't agreed is left to the browser.
    void close();
    [[nodiscard]] bool isWaiting() const;

    static constexpr std::chrono::milliseconds betweenLooks{200};
    /// The extension gives up two seconds later.
    static constexpr std::chrono::seconds timeToDecide{28};
    static constexpr std::chrono::seconds timeToStart{15};
    /// After it the application has dropped an offer that it isn't asked for.
    static constexpr std::chrono::seconds longestSilence{3};
    static constexpr std::size_t mostAtOnce = 32;

private:
    struct Offer {
        std::string request;
        std::string token; ///< Empty until the application has it.
        bool isAgreed = false;
        Clock::time_point since;
        Clock::time_point heard; ///< When the application last answered.
    };
    using Offers = std::map<std::string, Offer>;

    void take(const Offered& offered);
    void take(const Verdict& verdict);
    void take(const Withdrawn& withdrawn);
    void take(const StatusAsked& asked);
    void take(const Senseless& senseless);

    [[nodiscard]] bool isThere();
    /// Whether the application answers; starts it otherwise.
    bool reach();
    void giveUpStarting();
    void handOver();
    void handOver(const std::string& name, Offer& offer);
    void deliverVerdicts();
    [[nodiscard]] bool deliver(const Verdict& verdict);
    /// False: the application is silent, so there is no use in asking on.
    [[nodiscard]] bool ask(const std::string& name, Offer& offer);
    void conclude(const std::string& name, Offer& offer, const cli::Answer& answer);
    void tell(std::string_view type, const std::string& name, const Offer& offer);
    void leave(const Offer& offer);
    void decline(const std::string& name, std::string_view reason, const std::string& sentence);
    void endLate();

    Effects effects_;
    Offers offers_;
    std::vector<Verdict> verdicts_; ///< That the application must be started for.
    std::optional<Clock::time_point> launched_;
};

} // namespace fluvane::browser
