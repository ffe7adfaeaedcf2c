// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Host.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneCore/Text.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane::browser {

using tessivar::phrase;

namespace {

using coding::Json;
using std::chrono::milliseconds;

constexpr milliseconds patience{2000};
/// The application answers these once they are on the disk.
constexpr milliseconds patienceForSaving{10'000};

constexpr std::array<std::string_view, 8> reasons = {"left",  "different",  "page", "unreachable",
                                                     "login", "no-windows", "late", "unavailable"};

std::string stoppedAnswering() {
    return phrase("Fluvane stopped answering.");
}

std::string couldNotStart() {
    return phrase("Fluvane isn't running and couldn't be started.");
}

Json reply(std::string_view type, const std::string& offer) {
    return {{"type", type}, {"offer", offer}};
}

} // namespace

void Host::receive(std::string_view message) {
    if (const auto said = understand(message)) {
        std::visit([this](const auto& one) { take(one); }, *said);
    }
}

bool Host::isWaiting() const {
    return !verdicts_.empty() ||
           std::ranges::any_of(offers_, [](const auto& entry) { return !entry.second.isAgreed; });
}

void Host::take(const Offered& offered) {
    const auto& name = offered.offer;
    if (offers_.contains(name)) {
        return;
    }
    if (offers_.size() >= mostAtOnce) {
        decline(name, "unavailable", phrase("Too many downloads are being offered at once."));
        return;
    }
    const auto now = effects_.now();
    offers_[name] = {.request = offered.request, .token = {}, .since = now, .heard = now};
    look();
}

void Host::take(const Verdict& verdict) {
    offers_.erase(verdict.offer);
    if (!deliver(verdict) && verdict.canceled && verdicts_.size() < mostAtOnce) {
        verdicts_.push_back(verdict);
        look();
    }
}

void Host::take(const Withdrawn& withdrawn) {
    if (const auto found = offers_.find(withdrawn.offer); found != offers_.end() && !found->second.isAgreed) {
        leave(found->second);
        offers_.erase(found);
    }
}

void Host::take(const StatusAsked& /*asked*/) {
    const auto answer = effects_.send({"--running"}, patience);
    const auto running = answer && answer->ok ? text::wholeNumber(answer->text) : std::nullopt;
    effects_.say(
        Json{{"type", "status"}, {"running", std::max<std::int64_t>(running.value_or(0), 0)}}.dump());
}

void Host::take(const Senseless& senseless) {
    if (!offers_.contains(senseless.offer)) {
        decline(senseless.offer, "invalid",
                phrase("The browser offered something that Fluvane can't download."));
    }
}

void Host::look() {
    const bool isSomethingToBring = !verdicts_.empty() || std::ranges::any_of(offers_, [](const auto& entry) {
        return entry.second.token.empty();
    });
    if (isSomethingToBring && reach()) {
        deliverVerdicts();
        handOver();
    }
    for (auto entry = offers_.begin(); entry != offers_.end();) {
        auto& [name, offer] = *entry++; // which may go
        if (!offer.token.empty() && !offer.isAgreed && !ask(name, offer)) {
            break;
        }
    }
    endLate();
}

bool Host::isThere() {
    return effects_.send({"--running"}, patience).has_value();
}

bool Host::reach() {
    if (isThere()) {
        launched_.reset();
        return true;
    }
    if (!launched_) {
        launched_ = effects_.now();
        if (!effects_.launch()) {
            giveUpStarting();
        }
    } else if (effects_.now() - *launched_ >= timeToStart) {
        giveUpStarting();
    }
    return false;
}

/// The extension keeps the verdicts and tells them again another time.
void Host::giveUpStarting() {
    launched_.reset();
    verdicts_.clear();
    for (auto entry = offers_.begin(); entry != offers_.end();) {
        const auto& [name, offer] = *entry++;
        if (offer.token.empty()) {
            decline(std::string(name), "unavailable", couldNotStart());
        }
    }
}

void Host::deliverVerdicts() {
    for (const auto& verdict : std::exchange(verdicts_, {})) {
        (void)deliver(verdict); // else the extension tells it again
    }
}

bool Host::deliver(const Verdict& verdict) {
    const auto answer = effects_.send(
        {"--offer-verdict", verdict.token, verdict.canceled ? "canceled" : "kept"}, patienceForSaving);
    const bool isSettled = answer && answer->ok;
    if (isSettled) {
        effects_.say(reply("settled", verdict.offer).dump());
    }
    return isSettled;
}

void Host::handOver() {
    for (auto entry = offers_.begin(); entry != offers_.end();) {
        auto& [name, offer] = *entry++;
        if (offer.token.empty()) {
            handOver(std::string(name), offer);
        }
    }
}

/// Once: whether an offer arrived that wasn't answered nobody knows, and twice it would be two downloads.
void Host::handOver(const std::string& name, Offer& offer) {
    const auto answer = effects_.send({"--offer", offer.request}, patienceForSaving);
    if (!answer) {
        decline(name, "unavailable", stoppedAnswering());
    } else if (!answer->ok || answer->text.empty()) {
        decline(name, "unavailable", answer->text);
    } else {
        offer.token = answer->text;
        offer.heard = effects_.now();
        offer.request.clear();
        tell("asking", name, offer);
    }
}

/// With the token, by which the extension can give its verdict also when this host is gone.
void Host::tell(std::string_view type, const std::string& name, const Offer& offer) {
    auto told = reply(type, name);
    told["token"] = offer.token;
    effects_.say(told.dump());
}

bool Host::ask(const std::string& name, Offer& offer) {
    const auto answer = effects_.send({"--offer-state", offer.token}, patience);
    const auto now = effects_.now();
    if (answer) {
        offer.heard = now;
        conclude(name, offer, *answer);
    } else if (now - offer.heard >= longestSilence) {
        decline(std::string(name), "unavailable", stoppedAnswering());
    }
    return answer.has_value();
}

void Host::conclude(const std::string& name, Offer& offer, const cli::Answer& answer) {
    constexpr std::string_view declined = "declined ";
    if (answer.ok && answer.text == "agreed") {
        offer.isAgreed = true;
        tell("agreed", name, offer);
    } else if (answer.ok && answer.text.starts_with(declined)) {
        const auto rest = answer.text.substr(declined.size());
        const auto blank = std::min(rest.find(' '), rest.size());
        const auto reason = rest.substr(0, blank);
        const bool isKnown = std::ranges::find(reasons, reason) != reasons.end();
        decline(std::string(name), isKnown ? reason : "unavailable",
                rest.substr(std::min(blank + 1, rest.size())));
    } else if (!answer.ok) {
        decline(std::string(name), "unavailable", answer.text);
    }
}

void Host::leave(const Offer& offer) {
    if (!offer.token.empty()) {
        (void)effects_.send({"--offer-verdict", offer.token, "kept"}, patience);
    }
}

void Host::decline(const std::string& name, std::string_view reason, const std::string& sentence) {
    auto told = reply("declined", name);
    told["reason"] = reason;
    told["sentence"] = text::repaired(sentence);
    offers_.erase(name);
    effects_.say(told.dump());
}

void Host::endLate() {
    const auto now = effects_.now();
    for (auto entry = offers_.begin(); entry != offers_.end();) {
        const auto& [name, offer] = *entry++;
        if (!offer.isAgreed && now - offer.since >= timeToDecide) {
            leave(offer);
            decline(std::string(name), "late", phrase("Nobody decided in time, so the browser goes on."));
        }
    }
}

void Host::close() {
    for (const auto& [name, offer] : std::exchange(offers_, {})) {
        if (!offer.isAgreed) {
            leave(offer);
        }
    }
    verdicts_.clear();
}

} // namespace fluvane::browser
