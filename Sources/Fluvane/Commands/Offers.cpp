// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/Offers.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneCore/Rules.h"
#include "FluvaneCore/Text.h"
#include "FluvaneEngine/Abilities.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <random>
#include <utility>

namespace fluvane {

using tessivar::phrase;

namespace {

constexpr double betweenLooks = 0.1; ///< Seconds, while one waits for the server.
constexpr double betweenLongLooks = 1;
constexpr double lateVerdict = 24 * 60 * 60; ///< From a browser that was started again.

std::string newToken() {
    std::random_device source;
    std::string token;
    for (int i = 0; i < 4; ++i) {
        constexpr int digits = 8;
        const auto number = source();
        for (int digit = 0; digit < digits; ++digit) {
            token += "0123456789abcdef"[(number >> (4 * digit)) & 15U];
        }
    }
    return token;
}

/// "text/html" of "Text/HTML; charset=utf-8".
std::string plainType(const std::string& type) {
    return text::lowercased(text::trimmed(type.substr(0, type.find(';'))));
}

/// What servers say of files that they know nothing of.
bool saysNothing(const std::string& type) {
    static constexpr std::array<std::string_view, 6> types = {"",
                                                              "application/octet-stream",
                                                              "binary/octet-stream",
                                                              "application/force-download",
                                                              "application/x-download",
                                                              "application/download"};
    return std::ranges::find(types, type) != types.end();
}

bool kindsAgree(const std::optional<std::string>& a, const std::optional<std::string>& b) {
    const auto one = plainType(a.value_or(""));
    const auto other = plainType(b.value_or(""));
    return one == other || saysNothing(one) || saysNothing(other);
}

bool isPage(const std::optional<std::string>& type) {
    const auto plain = plainType(type.value_or(""));
    return plain == "text/html" || plain == "application/xhtml+xml";
}

Reply failure(std::string text) {
    return {.ok = false, .text = std::move(text)};
}

} // namespace

struct Offers::Entry {
    BrowserOffer offer;
    PendingOffer question;
    Stage stage = Stage::probing;
    std::string reason{};
    std::string sentence{};
    std::unique_ptr<Inquiry> inquiry{};
    URL asked;                       ///< The link that brings the file.
    std::optional<DownloadID> own{}; ///< The download that was made for it.
    bool renews = false;             ///< It takes the place of an expired link once the browser has let go.
    std::optional<DownloadID> firstBefore{}; ///< What was prioritized before it.
    bool isFirst = false;
    bool isHeld = false;    ///< Nobody knows whether the browser has it.
    double lastAsked = 0;   ///< When its state was asked for last.
    double agreedSince = 0; ///< When that was told first; 0 before.
};

Offers::Offers(Ports ports) : ports_(std::move(ports)) {}
Offers::~Offers() {
    if (next_) {
        next_->cancel();
    }
}

/// Whose downloads there are, without what they are.
void Offers::keep() {
    if (!ports_.memory.save) {
        return;
    }
    nlohmann::json list = nlohmann::json::array();
    for (const auto& entry : entries_) {
        const Download* const own = entry->own ? ports_.manager.download(*entry->own) : nullptr;
        if (own) {
            list.push_back({{"token", entry->question.token},
                            {"id", number(own->id())},
                            {"added", coding::encode(own->record.added)}});
        }
    }
    if (auto text = list.empty() ? std::string() : list.dump(); text != kept_) {
        kept_ = text;
        ports_.memory.save(kept_);
    }
}

void Offers::carryOn() {
    if (!ports_.memory.load) {
        return;
    }
    kept_ = ports_.memory.load();
    const auto list = nlohmann::json::parse(kept_, nullptr, false);
    for (const auto& each : list.is_array() ? list : nlohmann::json::array()) {
        const auto id = each.is_object() ? each.value("id", std::int64_t{-1}) : -1;
        const Download* const own = ports_.manager.download(DownloadID{id});
        const auto token = own ? each.value("token", std::string()) : std::string();
        if (token.empty() || each.value("added", std::string()) != coding::encode(own->record.added)) {
            continue;
        }
        const URL link = own->record.url;
        auto& entry = *entries_.emplace_back(std::make_unique<Entry>(
            Entry{.offer = {.links = {link}},
                  .question = {.token = token, .link = link, .name = "", .site = "", .folder = link},
                  .asked = link}));
        entry.own = own->id();
        entry.stage = Stage::agreed;
        entry.isHeld = true;
        entry.agreedSince = ports_.scheduler->now();
        ports_.manager.pause(*entry.own);
    }
    lookLater();
}

Offers::Entry* Offers::find(const std::string& token) {
    const auto found =
        std::ranges::find_if(entries_, [&](const auto& entry) { return entry->question.token == token; });
    return found == entries_.end() ? nullptr : found->get();
}

Reply Offers::take(std::string_view json) {
    auto offer = BrowserOffer::parse(json);
    if (!offer) {
        return failure("That wasn't an offer.");
    }
    const auto waits = [](const auto& entry) { return !entry->isHeld; };
    if (std::ranges::count_if(entries_, waits) >= most) {
        return failure("Too many offers at once.");
    }
    const URL link = offer->links.front();
    auto& entry = *entries_.emplace_back(std::make_unique<Entry>(
        Entry{.offer = std::move(*offer),
              .question = {.token = newToken(), .link = link, .name = "", .site = "", .folder = link},
              .asked = link}));
    entry.question.site = entry.offer.site();
    entry.lastAsked = ports_.scheduler->now();
    const auto token = entry.question.token;
    if (!ports_.windows) {
        decline(entry, "no-windows", phrase("Fluvane runs without windows, so nobody can be asked."));
    } else if (entry.offer.byPerson) {
        ports_.windows->newDownload(entry.offer.links, entry.offer.referrer, entry.offer.session);
        entry.stage = Stage::agreed;
    } else {
        probe(entry);
    }
    lookLater();
    return {.ok = true, .text = token};
}

// Whether the server sends us the same file

void Offers::probe(Entry& entry) {
    const auto& wanted = ports_.settings.config().offerSites;
    if (const auto known = wanted.find(entry.question.site); known != wanted.end() && !known->second) {
        return decline(entry, "left", phrase("Downloads of this site are left to the browser."));
    }
    entry.inquiry = ports_.manager.inquire(
        {.link = entry.asked, .referrer = entry.offer.referrer, .session = entry.offer.session},
        [this, token = entry.question.token](const auto& outcome) { answered(token, outcome); });
    if (!entry.inquiry) {
        decline(entry, "unreachable", phrase("The server can't be asked at the moment."));
    }
}

void Offers::answered(const std::string& token, const Outcome<LinkFacts>& outcome) {
    Entry* const entry = find(token);
    if (!entry || entry->stage != Stage::probing) {
        return;
    }
    const auto& offer = entry->offer;
    if (!outcome.ok()) {
        return probeElsewhere(*entry, "unreachable", outcome.error());
    }
    const LinkFacts facts = outcome.value();
    if (facts.isPage && !isPage(offer.type)) {
        return probeElsewhere(*entry, "page", phrase("The server sends a web page instead of the file."));
    }
    const bool isOther = (offer.size && facts.size != offer.size) || !kindsAgree(offer.type, facts.type);
    if (isOther) {
        return probeElsewhere(*entry, "different",
                              phrase("The server sends another file than the browser gets."));
    }
    settleQuestion(*entry, facts);
}

/// The link before redirects may lead somewhere else each time, and the other may be good for a minute.
void Offers::probeElsewhere(Entry& entry, std::string reason, std::string sentence) {
    const auto& last = entry.offer.finalLink;
    if (!last || *last == entry.asked) {
        return decline(entry, std::move(reason), std::move(sentence));
    }
    entry.asked = *last;
    probe(entry);
}

void Offers::decline(Entry& entry, std::string reason, std::string sentence) {
    entry.stage = Stage::declined;
    entry.reason = std::move(reason);
    entry.sentence = std::move(sentence);
    log::downloads([&] { return "an offer was declined: " + entry.reason; });
}

// The person

void Offers::settleQuestion(Entry& entry, const LinkFacts& facts) {
    auto& question = entry.question;
    const Config config = ports_.settings.config();
    const auto own = entry.offer.name ? DownloadManager::fileName(*entry.offer.name) : std::nullopt;
    question.name = own.value_or(facts.name);
    question.size = facts.size;
    const Rule* const rule = rules::folderRule(config.rules, question.name, entry.offer.links.front().site());
    question.folder = ports_.manager.folder(rule ? rule->folder : config.folder);
    question.renews = expiredOne(entry, facts);
    const auto known = config.offerSites.find(question.site);
    if (question.renews ? config.renewLinksByThemselves
                        : config.startOffersAtOnce || (known != config.offerSites.end() && known->second)) {
        return begin(entry, {.isAccepted = true, .renew = question.renews.has_value()});
    }
    entry.stage = Stage::asking;
    show();
}

std::optional<DownloadID> Offers::expiredOne(const Entry& entry, const LinkFacts& facts) const {
    for (const Download* const each : ports_.manager.downloads()) {
        const auto& record = each->record;
        if (!record.state.isWaiting(DownloadState::Wait::linkExpired) || !facts.size ||
            record.size != facts.size) {
            continue;
        }
        const auto& tag = facts.validators.etag;
        const bool isSame = record.validators && !record.validators->differ(facts.validators) &&
                            ((tag && record.validators->etag == tag) ||
                             (facts.validators.lastModified &&
                              record.validators->lastModified == facts.validators.lastModified));
        if (isSame || record.displayName() == entry.question.name) {
            return each->id();
        }
    }
    return std::nullopt;
}

void Offers::decided(const std::string& token, const OfferAnswer& answer) {
    Entry* const entry = find(token);
    if (!entry || entry->stage != Stage::asking) {
        return;
    }
    if (answer.remember) {
        remember(*entry, answer.isAccepted);
    }
    if (answer.isAccepted) {
        begin(*entry, answer);
    } else {
        decline(*entry, "left", phrase("It was left to the browser."));
    }
    show();
}

void Offers::remember(const Entry& entry, bool isWanted) {
    Config config = ports_.settings.config();
    config.offerSites[entry.question.site] = isWanted;
    ports_.settings.update(config);
}

// Our own download of it

void Offers::begin(Entry& entry, const OfferAnswer& answer) {
    entry.renews = answer.renew && entry.question.renews;
    if (entry.renews) {
        entry.stage = Stage::agreed; // it has nothing to lose: its link is no good as it is
        return;
    }
    const auto ids =
        ports_.manager.add({{.url = entry.asked,
                             .referrer = entry.offer.referrer,
                             .name = answer.name ? answer.name : std::optional(entry.question.name),
                             .session = entry.offer.session}},
                           answer.folder, !answer.folder);
    entry.own = ids.front();
    entry.stage = Stage::starting;
    keep();
    goFirst(entry);
    lookLater();
}

/// The browser waits: it doesn't stand in line. One after the other, as only one download can be prioritized.
void Offers::goFirst(Entry& entry) {
    const Download* const own = ports_.manager.download(*entry.own);
    const auto isFirst = [](const auto& each) { return each->isFirst; };
    if (!own || !own->record.state.is<DownloadState::Queued>() || std::ranges::any_of(entries_, isFirst)) {
        return;
    }
    const auto list = ports_.manager.downloads();
    const auto first = std::ranges::find_if(list, [](const auto* each) { return each->isPrioritized(); });
    if (first != list.end()) {
        entry.firstBefore = (*first)->id();
    }
    ports_.manager.prioritize(*entry.own, true);
    entry.isFirst = true;
}

void Offers::goBack(Entry& entry) {
    if (std::exchange(entry.isFirst, false)) {
        ports_.manager.prioritize(*entry.own, false);
        if (entry.firstBefore) {
            ports_.manager.prioritize(*entry.firstBefore, true);
        }
    }
}

/// Only what really comes is worth letting go of another.
void Offers::follow(Entry& entry) {
    const Download* const own = ports_.manager.download(*entry.own);
    if (!own) {
        return decline(entry, "left", phrase("It was removed."));
    }
    const auto& state = own->record.state;
    const bool isOther = entry.offer.size && own->record.size && own->record.size != entry.offer.size;
    if (isOther) {
        drop(entry);
        return decline(entry, "different", phrase("The server sends another file than the browser gets."));
    }
    const bool comes = state.is<DownloadState::Finished>() || state.is<DownloadState::Verifying>() ||
                       state.is<DownloadState::Finishing>() ||
                       (state.is<DownloadState::Downloading>() && own->liveBytes() > 0);
    if (comes || (own->record.size == 0)) {
        goBack(entry);
        entry.stage = Stage::agreed;
    } else if (const auto* const failed = state.failure()) {
        const std::string why = *failed;
        drop(entry);
        decline(entry, "unreachable", why);
    } else if (state.is<DownloadState::Waiting>() || state.is<DownloadState::Paused>()) {
        drop(entry);
        decline(entry, "unreachable", phrase("The server doesn't send it now."));
    }
}

void Offers::drop(Entry& entry) {
    goBack(entry);
    if (const auto own = std::exchange(entry.own, std::nullopt)) {
        ports_.manager.remove(*own);
    }
}

// What the browser's side asks and says

Reply Offers::state(const std::string& token) {
    Entry* const entry = find(token);
    if (!entry) {
        return failure("No such offer.");
    }
    entry->lastAsked = ports_.scheduler->now();
    switch (entry->stage) {
    case Stage::agreed:
        if (entry->agreedSince == 0) {
            entry->agreedSince = entry->lastAsked;
        }
        return {.ok = true, .text = "agreed"};
    case Stage::declined:
        return {.ok = true, .text = "declined " + entry->reason + " " + entry->sentence};
    case Stage::probing:
    case Stage::asking:
    case Stage::starting:
        break;
    }
    return {.ok = true, .text = "asking"};
}

Reply Offers::verdict(const std::string& token, bool isCanceled) {
    Entry* const entry = find(token);
    if (!entry) {
        return {.ok = true, .text = "unknown"};
    }
    if (!isCanceled) {
        drop(*entry);
    } else if (entry->renews) {
        ports_.manager.updateLink(*entry->question.renews, entry->asked, entry->offer.session);
    } else if (entry->own) {
        ports_.manager.resume(*entry->own); // if the verdict was waited for too long
    }
    std::erase_if(entries_, [&](const auto& each) { return each.get() == entry; });
    keep();
    show();
    return {.ok = true};
}

Reply Offers::running() const {
    const auto list = ports_.manager.downloads();
    const auto count =
        std::ranges::count_if(list, [](const Download* each) { return runs(each->record.state); });
    return {.ok = true, .text = std::to_string(count)};
}

void Offers::show() {
    std::vector<PendingOffer> asking;
    for (const auto& entry : entries_) {
        if (entry->stage == Stage::asking) {
            asking.push_back(entry->question);
        }
    }
    if (ports_.windows && asking != shown_) {
        shown_ = asking;
        ports_.windows->showOffers(asking,
                                   [this](const auto& token, const auto& answer) { decided(token, answer); });
    }
}

// Time

void Offers::look() {
    for (const auto& entry : entries_) {
        if (entry->stage == Stage::starting) {
            goFirst(*entry);
            follow(*entry);
        }
    }
    std::erase_if(entries_, [this](const auto& entry) { return isOver(*entry); });
    keep();
    show();
    lookLater();
}

/// Where the browser ended without a word after it was told "agreed", it may have the file or not: ours
/// stands still then, and a person decides, or a verdict that comes late.
bool Offers::isOver(Entry& entry) {
    const double now = ports_.scheduler->now();
    if (entry.agreedSince == 0) {
        const bool isForgotten = now - entry.lastAsked > patience;
        if (isForgotten) {
            drop(entry);
        }
        return isForgotten;
    }
    const double waited = now - entry.agreedSince;
    if (waited > verdictPatience && !std::exchange(entry.isHeld, waited > verdictPatience) && entry.own) {
        log::downloads([&] { return "a browser didn't say whether it let go of its download"; });
        ports_.manager.pause(*entry.own);
    }
    return waited > (entry.own || entry.renews ? lateVerdict : verdictPatience);
}

void Offers::lookLater() {
    if (const auto before = std::exchange(next_, nullptr)) {
        before->cancel();
    }
    const auto isHurried = [](const auto& entry) { return entry->stage == Stage::starting; };
    if (!entries_.empty()) {
        next_ = ports_.scheduler->after(
            std::ranges::any_of(entries_, isHurried) ? betweenLooks : betweenLongLooks, [this] { look(); });
    }
}

} // namespace fluvane
