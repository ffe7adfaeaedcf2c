// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Commands/BrowserOffer.h"
#include "Fluvane/Commands/Reply.h"
#include "Fluvane/Ports/Offer.h"
#include "Fluvane/Ports/SettingsAccess.h"
#include "Fluvane/Ports/Windows.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/ServerCounts.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// Takes over what a browser downloads, in steps that lose nothing wherever they end: the server is asked
/// whether it sends us the same file; the person is asked; our download runs; the browser is told "agreed"
/// and ends its own; its verdict says so, or that it kept the file, and then ours goes. An offer that nobody
/// asks about anymore is withdrawn. The main queue's.
class Offers {
public:
    static constexpr double patience = 3;         ///< Seconds without a question for its state.
    static constexpr double verdictPatience = 20; ///< For the verdict, once it was told "agreed".
    static constexpr std::ptrdiff_t most = 32;

    struct Ports {
        DownloadManager& manager;
        SettingsAccess& settings;
        std::shared_ptr<Scheduler> scheduler;
        Windows* windows = nullptr; ///< Null without a display: the answer is no.
        ServerCounts::Storage memory{};
    };
    /// What it is given must outlive it.
    explicit Offers(Ports ports);
    ~Offers();
    Offers(const Offers&) = delete;
    Offers& operator=(const Offers&) = delete;

    /// After the list was loaded, once: what a former run began and had no verdict on stands still until that
    /// comes.
    void carryOn();
    /// Its token, or what is wrong with it.
    Reply take(std::string_view json);
    /// "asking", "agreed", or "declined", a reason and a sentence.
    Reply state(const std::string& token);
    /// Whether the browser's own download was ended; always well received.
    Reply verdict(const std::string& token, bool isCanceled);
    /// How many downloads run.
    [[nodiscard]] Reply running() const;

private:
    struct Entry;
    enum class Stage { probing, asking, starting, agreed, declined };

    [[nodiscard]] Entry* find(const std::string& token);
    void probe(Entry& entry);
    void answered(const std::string& token, const Outcome<LinkFacts>& outcome);
    void probeElsewhere(Entry& entry, std::string reason, std::string sentence);
    void decline(Entry& entry, std::string reason, std::string sentence);
    void settleQuestion(Entry& entry, const LinkFacts& facts);
    [[nodiscard]] std::optional<DownloadID> expiredOne(const Entry& entry, const LinkFacts& facts) const;
    void decided(const std::string& token, const OfferAnswer& answer);
    void begin(Entry& entry, const OfferAnswer& answer);
    void goFirst(Entry& entry);
    void goBack(Entry& entry);
    void follow(Entry& entry);
    void drop(Entry& entry);
    void remember(const Entry& entry, bool isWanted);
    void keep();
    void show();
    void look();
    [[nodiscard]] bool isOver(Entry& entry);
    void lookLater();

    Ports ports_;
    std::vector<std::unique_ptr<Entry>> entries_;
    std::vector<PendingOffer> shown_;
    std::string kept_; ///< As it was kept last.
    std::shared_ptr<Cancellable> next_;
};

} // namespace fluvane
