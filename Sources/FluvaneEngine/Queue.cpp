// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Admission, and the commands that move downloads between the queue and the rest.

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/Abilities.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <limits>
#include <set>
#include <tuple>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

class DownloadManager::Batch {
public:
    explicit Batch(DownloadManager& manager) : manager_(manager) { ++manager_.batches_; }
    ~Batch() {
        if (--manager_.batches_ == 0) {
            manager_.pump();
            manager_.changed();
        }
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

private:
    DownloadManager& manager_;
};

namespace {

auto placeInLine(const Download& download) {
    return std::tuple(!download.isPrioritized(), download.record.queueKey(), download.id());
}

} // namespace

std::vector<Download*> DownloadManager::queued() const {
    std::vector<Download*> line;
    for (const auto& download : downloads_) {
        if (download->record.state.is<State::Queued>()) {
            line.push_back(download.get());
        }
    }
    std::ranges::sort(line, {}, [](const Download* download) { return placeInLine(*download); });
    return line;
}

std::vector<const Download*> DownloadManager::queue() const {
    assertContext();
    const auto line = queued();
    return {line.begin(), line.end()};
}

// Admission

/// Beginning a download may fail at once, which asks for admission again: that is done here, one after the
/// other, so that a long row of failing links neither recurses nor changes the list while it is walked.
void DownloadManager::pump() {
    pumpAgain_ = true;
    if (pumping_ || batches_ > 0) {
        return;
    }
    pumping_ = true;
    while (std::exchange(pumpAgain_, false)) {
        pumpOnce();
    }
    pumping_ = false;
    fillAll();
    updateTicker();
}

void DownloadManager::pumpOnce() {
    if (!online_) {
        return;
    }
    holdOnLimitedNetwork();
    auto active = std::ranges::count_if(
        downloads_, [](const auto& download) { return download->record.state.isActive(); });
    const auto free = [&] { return active < config_.simultaneous; };
    const bool anyPrioritized = std::ranges::any_of(downloads_, [](const auto& download) {
        return download->isPrioritized() && download->record.state == State(State::Queued{});
    });
    if (!free() && !anyPrioritized) {
        return; // nothing can start: spare the sorting
    }
    std::set<std::string> fullServers;
    for (Download* const download : queued()) {
        if (!free() && !download->isPrioritized()) {
            break;
        }
        const auto server = download->record.url.site().value_or("");
        if (fullServers.contains(server) && !download->isPrioritized()) {
            continue;
        }
        if (!roomAtServer(*download)) {
            fullServers.insert(server);
            continue;
        }
        begin(*download, true);
        ++active;
    }
}

bool DownloadManager::mustWaitForNetwork(const Download& download) const {
    return limitedNetwork_ && config_.waitOnHotspots && !download.allowedOnLimitedNetwork;
}

void DownloadManager::holdOnLimitedNetwork() {
    if (!limitedNetwork_ || !config_.waitOnHotspots) {
        return;
    }
    bool any = false;
    for (Download* const download : queued()) {
        if (mustWaitForNetwork(*download)) {
            halt(*download);
            download->record.state = State::Wait::limitedNetwork;
            any = true;
        }
    }
    if (any) {
        save();
        changed();
    }
}

/// Whether a first connection may go to the download's server. At a full server one of a download that has
/// several makes room; the prioritized download needs none.
bool DownloadManager::roomAtServer(const Download& download) {
    const auto& server = download.record.url.site();
    return connectionsTo(server) < config_.connectionsPerServer || takeConnection(server) ||
           download.isPrioritized();
}

/// Closes the newest connection of the download that has the most to the server. False if none has several.
bool DownloadManager::takeConnection(const std::optional<std::string>& server) {
    Download* richest = nullptr;
    for (const auto& other : downloads_) {
        const auto count = other->transfers.size();
        if (count > (richest ? richest->transfers.size() : 1) && other->record.url.site() == server) {
            richest = other.get();
        }
    }
    if (!richest) {
        return false;
    }
    const auto newest = std::ranges::max_element(richest->transfers, {},
                                                 [](const auto& entry) { return entry.second.token; });
    dropTransfer(*richest, newest->first);
    return true;
}

/// Closes what a lowered cap no longer allows; a download's only connection stays.
void DownloadManager::relieveServers() {
    for (const auto& download : downloads_) {
        const auto server = download->record.url.site();
        while (connectionsTo(server) > config_.connectionsPerServer && takeConnection(server)) {
        }
    }
}

int DownloadManager::connectionsTo(const std::optional<std::string>& server) const {
    int count = 0;
    for (const auto& download : downloads_) {
        if (!download->transfers.empty() && download->record.url.site() == server) {
            count += static_cast<int>(download->transfers.size());
        }
    }
    return count;
}

/// Gives running downloads the connections that a full server or an earlier stop kept from them.
void DownloadManager::fillAll() {
    for (const auto& download : downloads_) {
        if (download->record.state.is<State::Downloading>()) {
            fill(*download);
        }
    }
}

void DownloadManager::requeue(Download& download) {
    download.allowedOnLimitedNetwork = limitedNetwork_.has_value();
    set(download, State::Queued{});
}

// Commands

DownloadID DownloadManager::add(const URL& url, const std::optional<URL>& folder,
                                const std::optional<URL>& referrer, const std::optional<Checksum>& checksum,
                                bool autoFolder) {
    return add({{.url = url, .referrer = referrer, .checksum = checksum}}, folder, autoFolder).front();
}

std::vector<DownloadID> DownloadManager::add(const std::vector<Addition>& additions,
                                             const std::optional<URL>& folder, bool autoFolder) {
    assertContext();
    const Batch batch(*this);
    const URL target = folder ? *folder : surroundings_.folder(config_.folder);
    std::vector<DownloadID> ids;
    ids.reserve(additions.size());
    for (const Addition& addition : additions) {
        ids.push_back(append(addition, target, autoFolder && !folder));
    }
    return ids;
}

DownloadID DownloadManager::append(const Addition& addition, const URL& folder, bool autoFolder) {
    const auto id = DownloadID{nextID_};
    nextID_ = checkedAdd(nextID_, 1);
    DownloadRecord record(id, addition.url, folder, addition.referrer, surroundings_.today());
    record.checksum = addition.checksum;
    if (autoFolder) {
        record.autoFolder = true;
    }
    auto download = std::make_unique<Download>(std::move(record));
    download->allowedOnLimitedNetwork = limitedNetwork_.has_value();
    downloads_.push_back(std::move(download));
    log::downloads([&] { return fmt::format("download {} added", id); });
    save();
    return id;
}

void DownloadManager::pause(DownloadID id) {
    assertContext();
    Download* const download = find(id);
    if (!download || !canPause(download->record.state)) {
        return;
    }
    halt(*download);
    log::downloads([&] { return fmt::format("download {} paused", id); });
    set(*download, State::Paused{});
    pump();
}

void DownloadManager::resume(DownloadID id) {
    assertContext();
    Download* const download = find(id);
    if (!download || !canResume(download->record.state)) {
        return;
    }
    log::downloads([&] { return fmt::format("download {} resumed", id); });
    requeue(*download);
    pump();
}

void DownloadManager::pauseAll() {
    assertContext();
    const Batch batch(*this);
    for (const auto& download : downloads_) {
        pause(download->id());
    }
}

void DownloadManager::resumeAll() {
    assertContext();
    const Batch batch(*this);
    for (const auto& download : downloads_) {
        if (resumesWithAll(download->record.state)) {
            resume(download->id());
        }
    }
}

void DownloadManager::remove(DownloadID id) {
    assertContext();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    halt(*download);
    if (!download->record.state.is<State::Finished>() && download->record.partial) {
        files_->remove(*download->record.partial);
    }
    std::erase_if(downloads_, [&](const auto& entry) { return entry.get() == download; });
    log::downloads([&] { return fmt::format("download {} removed", id); });
    save();
    pump();
    changed();
}

void DownloadManager::downloadNext(DownloadID id) {
    assertContext();
    Download* const download = find(id);
    if (!download || !canBeNext(download->record.state)) {
        return;
    }
    std::optional<std::int64_t> smallest;
    for (const Download* const other : queued()) {
        smallest = std::min(smallest.value_or(other->record.queueKey()), other->record.queueKey());
    }
    const bool isFirst = !queued().empty() && queued().front() == download;
    const bool canPrecede = smallest && *smallest > std::numeric_limits<std::int64_t>::min();
    if (canPrecede && *smallest <= download->record.queueKey() && !isFirst) {
        download->record.queueOrder = checkedSubtract(*smallest, 1);
    }
    log::downloads([&] { return fmt::format("download {} is next in line", id); });
    if (download->record.state.is<State::Paused>()) {
        requeue(*download);
    } else {
        save();
    }
    pump();
    changed();
}

void DownloadManager::prioritize(DownloadID id, bool on) {
    assertContext();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    if (on) {
        setPrioritized(*download);
    } else if (download->isPrioritized()) {
        download->record.prioritized.reset();
        log::downloads([&] { return fmt::format("download {} isn't prioritized anymore", id); });
        remeasure(true);
        save();
        changed();
    }
}

void DownloadManager::setPrioritized(Download& download) {
    const State state = download.record.state;
    if (!canGoFirst(state)) {
        return;
    }
    for (const auto& other : downloads_) {
        if (other.get() != &download) {
            other->record.prioritized.reset();
        }
    }
    download.record.prioritized = true;
    download.allowedOnLimitedNetwork = limitedNetwork_.has_value();
    log::downloads([&] { return fmt::format("download {} prioritized", download.id()); });
    for (const auto& other : downloads_) {
        if (other.get() != &download && other->record.state.is<State::Downloading>()) {
            other->target = std::min(other->target, startingConnections);
            other->growing = false;
            other->window.reset();
            other->previousTarget.reset();
            trim(*other);
        }
    }
    if (state.is<State::Downloading>()) {
        measureAfresh(download, true);
        save();
    } else if (state.is<State::Paused>() || state.is<State::Failed>() || state.is<State::Waiting>()) {
        halt(download);
        set(download, State::Queued{});
    } else {
        save();
    }
    pump();
    changed();
}

// Settings and the network

void DownloadManager::apply(const Config& config) {
    assertContext();
    const Config before = std::exchange(config_, config);
    log::downloads([this] {
        return config_.speedLimit ? fmt::format("speed limit {} bytes/s", *config_.speedLimit)
                                  : std::string("no speed limit");
    });
    if (config_.speedLimit != before.speedLimit) {
        transport_->setSpeedLimit(config_.speedLimit);
    }
    if (config_.waitOnHotspots != before.waitOnHotspots && limitedNetwork_) {
        config_.waitOnHotspots ? holdAll() : releaseAll();
    }
    for (const auto& download : downloads_) {
        takeCaps(*download, before);
    }
    if (config_.connectionsPerServer < before.connectionsPerServer) {
        relieveServers();
    }
    pump();
    changed();
}

/// Brings a running download to the connections that changed settings allow it.
void DownloadManager::takeCaps(Download& download, const Config& before) {
    if (!download.record.state.usesNetwork()) {
        return;
    }
    const auto capBefore = std::min(download.connectionCap, before.connections);
    const auto ruleBefore = ruleCap(download, before);
    const auto rule = ruleCap(download, config_);
    if (rule < download.connectionCap || download.connectionCap == ruleBefore) {
        download.connectionCap = rule;
    }
    if (cap(download) > capBefore && !download.growing) {
        measureAfresh(download, true); // it may have stopped at the old cap
    }
    if (download.record.state.is<State::Downloading>()) {
        trim(download);
        fill(download);
    }
}

int DownloadManager::ruleCap(const Download& download, const Config& config) {
    const auto count = rules::connections(config.rules, download.record.url.site());
    return count ? std::max(*count, 1) : std::numeric_limits<int>::max();
}

void DownloadManager::setLimitedNetwork(std::optional<LimitedNetwork> network) {
    assertContext();
    if (network == limitedNetwork_) {
        return;
    }
    limitedNetwork_ = network;
    log::downloads([&] {
        return network ? fmt::format("on a limited network: {}", rawValue(*network))
                       : std::string("no longer on a limited network");
    });
    if (!network) {
        for (const auto& download : downloads_) {
            download->allowedOnLimitedNetwork = false;
        }
        releaseAll();
    } else if (config_.waitOnHotspots) {
        holdAll();
    }
    pump();
    changed();
}

/// Every download that may not run on the limited network waits.
void DownloadManager::holdAll() {
    const Batch batch(*this);
    for (const auto& download : downloads_) {
        const auto& state = download->record.state;
        const bool wantsNetwork = state.is<State::Queued>() || state.usesNetwork();
        if (wantsNetwork && mustWaitForNetwork(*download)) {
            halt(*download);
            log::downloads(
                [&] { return fmt::format("download {} waiting on the limited network", download->id()); });
            set(*download, State::Wait::limitedNetwork);
        }
    }
}

void DownloadManager::releaseAll() {
    const Batch batch(*this);
    for (const auto& download : downloads_) {
        if (download->record.state.isWaiting(State::Wait::limitedNetwork)) {
            set(*download, State::Queued{});
        }
    }
    save();
}

void DownloadManager::setOnline(bool online) {
    assertContext();
    if (online == online_) {
        return;
    }
    const Batch batch(*this);
    online_ = online;
    log::network(online ? "online" : "offline");
    for (const auto& download : downloads_) {
        const auto& state = download->record.state;
        if (online && state.isWaiting(State::Wait::offline)) {
            set(*download, State::Queued{});
        } else if (!online && (state.is<State::Queued>() || state.usesNetwork())) {
            halt(*download);
            set(*download, State::Wait::offline);
        }
    }
    save();
}

} // namespace fluvane
