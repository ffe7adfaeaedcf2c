// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/DownloadManager.h"

#include "FluvaneCore/Objections.h"
#include "FluvaneEngine/Abilities.h"
#include "FluvaneEngine/Admission.h"
#include "FluvaneEngine/Engine.h"
#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/Restoring.h"
#include "FluvaneEngine/UnfinishedFile.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

const char* const DownloadManager::partialExtension = unfinishedFile::extension;

namespace {

constexpr std::int64_t beatsPerCheckpoint = 4; ///< So what is on disk is at most some 2 s old.

} // namespace

DownloadManager::DownloadManager(Config config, std::shared_ptr<HTTPTransport> transport,
                                 std::shared_ptr<FileStore> files, std::shared_ptr<Scheduler> scheduler,
                                 std::shared_ptr<DownloadStore> store, std::shared_ptr<PowerAssertion> power,
                                 std::shared_ptr<Notifier> notifier, std::function<double()> random,
                                 Environment environment)
    : engine_(std::make_unique<Engine>(*this, std::move(config),
                                       Engine::Ports{.transport = std::move(transport),
                                                     .files = std::move(files),
                                                     .scheduler = std::move(scheduler),
                                                     .store = std::move(store),
                                                     .power = std::move(power),
                                                     .notifier = std::move(notifier),
                                                     .random = std::move(random)},
                                       std::move(environment))) {}

DownloadManager::~DownloadManager() = default;

// Start and stop

void DownloadManager::start() {
    const auto turn = engine_->turns.open();
    auto& list = engine_->list;
    engine_->ports.transport->setSpeedLimit(config().speedLimit);
    list.load(engine_->ports.store->load());
    engine_->sessions.restore();
    engine_->saver.begin();
    for (const auto& download : list) {
        download->goesOnByItself = true;
        if (restoring::mayBeMoved(download->record)) {
            lookWhetherMoved(*download);
        } else {
            restore(*download, std::nullopt);
        }
        if (download->record.moving) {
            engine_->mover.goOn(*download);
        }
    }
    engine_->leftovers.begin();
    engine_->space.begin();
    log::lifecycle([&] { return fmt::format("loaded {} downloads", list.all().size()); });
    engine_->turns.changed();
}

void DownloadManager::lookWhetherMoved(Download& download) {
    engine_->disk.run(
        download,
        [files = engine_->ports.files.get(), record = download.record, naming = config().duplicateNames] {
            return restoring::movedTo(record, *files, naming);
        },
        [this](Download& looked, const std::optional<std::string>& movedTo) {
            restore(looked, movedTo);
            engine_->turns.changed();
        });
}

void DownloadManager::restore(Download& download, const std::optional<std::string>& movedTo) {
    download.record =
        restoring::restored(std::move(download.record), movedTo, online(), engine_->environment.today());
    if (download.record.state.is<State::Finished>()) {
        engine_->finisher.verifyFinishedFile(download); // a digest may have been under way
    }
}

bool DownloadManager::stop() {
    const auto turn = engine_->turns.open();
    for (const auto& download : engine_->list) {
        engine_->runner.halt(*download);
    }
    engine_->mover.endAll();
    engine_->removals.endAll();
    const bool isDone = engine_->saver.finish();
    engine_->beat.stop();
    engine_->turns.end(); // whatever is still under way finds nobody
    return isDone;
}

// Turns

/// Beginning a download may fail at once, which asks for admission again: that is done by the turn, one after
/// the other, so that a long row of failing links neither recurses nor changes the list while it is walked.
void DownloadManager::settle() {
    admit();
    engine_->runner.fillAll();
    engine_->beat.follow();
    engine_->sessions.follow();
}

void DownloadManager::admit() {
    const auto plan = admission::plan(engine_->list, engine_->conditions);
    for (const auto& [download, reason] : plan.waits) {
        if (reason == admission::Reason::limitedNetwork) {
            hold(*download, State::Wait::limitedNetwork);
        }
    }
    for (Download* const download : plan.starts) {
        if (engine_->runner.makeRoom(*download)) { // one that started before may have taken it
            engine_->runner.begin(*download);
        }
    }
}

void DownloadManager::beaten(std::int64_t beats) {
    engine_->growth.noticeNeighbours();
    engine_->runner.rescue();
    admit(); // a connection that closes leaves room at its server without a change of the list
    engine_->runner.fillAll();
    if (beats % beatsPerCheckpoint == 0) {
        engine_->saver.checkpointIfNew(engine_->connections.received());
    }
}

// What there is

const Config& DownloadManager::config() const {
    return engine_->conditions.config;
}

bool DownloadManager::online() const {
    return engine_->conditions.online;
}

std::optional<LimitedNetwork> DownloadManager::limitedNetwork() const {
    return engine_->conditions.limitedNetwork;
}

URL DownloadManager::folder(const std::optional<std::string>& path) const {
    return engine_->environment.folder(path);
}

Download* DownloadManager::find(DownloadID id) const {
    engine_->turns.assertContext();
    Download* const download = engine_->list.find(id);
    return download && !download->isRemoved() ? download : nullptr;
}

const Download* DownloadManager::download(DownloadID id) const {
    return find(id);
}

std::vector<const Download*> DownloadManager::downloads() const {
    engine_->turns.assertContext();
    std::vector<const Download*> list;
    list.reserve(engine_->list.all().size());
    for (const auto& download : engine_->list) {
        if (!download->isRemoved()) {
            list.push_back(download.get());
        }
    }
    return list;
}

std::vector<const Download*> DownloadManager::queue() const {
    engine_->turns.assertContext();
    const auto line = engine_->list.line();
    return {line.begin(), line.end()};
}

std::int64_t DownloadManager::placesHeldByRetries() const {
    return admission::placesHeldByRetries(engine_->list, engine_->conditions);
}

std::optional<double> DownloadManager::retryIn(const Download& download) const {
    return engine_->retries.retryIn(download);
}

void DownloadManager::whenSaved(SaveCompletion completion) {
    engine_->turns.assertContext();
    engine_->saver.whenSaved(std::move(completion));
}

void DownloadManager::saveEverything(SaveCompletion completion) {
    engine_->turns.assertContext();
    engine_->saver.saveEverything(std::move(completion));
}

// Commands

DownloadID DownloadManager::add(const URL& url, const std::optional<URL>& folder,
                                const std::optional<URL>& referrer, const std::optional<Checksum>& checksum,
                                bool autoFolder) {
    return add({{.url = url, .referrer = referrer, .checksum = checksum}}, folder, autoFolder).front();
}

std::vector<DownloadID> DownloadManager::add(const std::vector<Addition>& additions,
                                             const std::optional<URL>& folder, bool autoFolder) {
    const auto turn = engine_->turns.open();
    const URL target = folder ? *folder : this->folder(config().folder);
    std::vector<DownloadID> ids;
    ids.reserve(additions.size());
    for (const Addition& addition : additions) {
        ids.push_back(append(addition, target, autoFolder && !folder));
    }
    return ids;
}

DownloadID DownloadManager::append(const Addition& addition, const URL& folder, bool autoFolder) {
    engine_->removals.forget(addition.url);
    DownloadRecord record(engine_->list.nextID(), addition.url, folder, addition.referrer,
                          engine_->environment.today());
    record.checksum = addition.checksum;
    record.name = addition.name ? fileName(*addition.name) : std::nullopt;
    if (autoFolder) {
        record.autoFolder = true;
    }
    if (addition.paused) {
        record.state = State::Paused{};
    }
    if (addition.session) {
        record.session = true;
    }
    Download& download = engine_->list.append(std::move(record));
    download.session = addition.session;
    download.allowedOnLimitedNetwork = limitedNetwork().has_value();
    log::downloads([&] { return fmt::format("download {} added", download.id()); });
    engine_->turns.changed();
    return download.id();
}

std::optional<std::string> DownloadManager::fileName(std::string_view typed) {
    return unfinishedFile::cleanName(typed);
}

std::unique_ptr<Inquiry> DownloadManager::inquire(const Inquiry::Question& question,
                                                  Inquiry::Answered answered) const {
    engine_->turns.assertContext();
    const bool isFull = engine_->connections.isFull(question.link.site());
    if (!online() || engine_->conditions.sparesNetwork() || isFull ||
        question.link.absoluteString().size() > words::longestLink) {
        return nullptr;
    }
    return std::make_unique<Inquiry>(engine_->ports.transport, engine_->environment.types, question,
                                     std::move(answered));
}

void DownloadManager::pause(DownloadID id) {
    const auto turn = engine_->turns.open();
    if (Download* const download = find(id)) {
        pause(*download);
    }
}

void DownloadManager::pause(Download& download) {
    if (!canPause(download.record.state)) {
        return;
    }
    engine_->runner.halt(download);
    log::downloads([&] { return fmt::format("download {} paused", download.id()); });
    engine_->turns.set(download, State::Paused{});
}

void DownloadManager::resume(DownloadID id) {
    const auto turn = engine_->turns.open();
    if (Download* const download = find(id)) {
        resume(*download);
    }
}

void DownloadManager::resume(Download& download) {
    if (!canResume(download.record.state)) {
        return;
    }
    log::downloads([&] { return fmt::format("download {} resumed", download.id()); });
    requeue(download);
}

void DownloadManager::requeue(Download& download) {
    download.goesOnByItself = false;
    download.allowedOnLimitedNetwork = limitedNetwork().has_value();
    engine_->turns.set(download, State::Queued{});
}

void DownloadManager::pauseAll() {
    const auto turn = engine_->turns.open();
    for (const auto& download : engine_->list) {
        if (!download->isRemoved()) {
            pause(*download);
        }
    }
}

void DownloadManager::resumeAll() {
    const auto turn = engine_->turns.open();
    for (const auto& download : engine_->list) {
        if (resumesWithAll(download->record.state) && !download->isRemoved()) {
            resume(*download);
        }
    }
}

void DownloadManager::remove(DownloadID id) {
    const auto turn = engine_->turns.open();
    if (Download* const download = find(id)) {
        engine_->removals.remove(*download);
    }
}

void DownloadManager::removeForNow(const std::vector<DownloadID>& ids) {
    const auto turn = engine_->turns.open();
    std::vector<Download*> downloads;
    for (const auto id : ids) {
        if (Download* const download = find(id)) {
            downloads.push_back(download);
        }
    }
    engine_->removals.removeForNow(downloads, undoTime);
}

std::vector<DownloadID> DownloadManager::undoRemoval() {
    const auto turn = engine_->turns.open();
    return engine_->removals.undo();
}

std::size_t DownloadManager::undoable() const {
    return engine_->removals.undoable();
}

void DownloadManager::downloadNext(DownloadID id) {
    const auto turn = engine_->turns.open();
    Download* const download = find(id);
    if (!download || !canBeNext(download->record.state)) {
        return;
    }
    engine_->list.putFirst(*download);
    log::downloads([&] { return fmt::format("download {} is next in line", id); });
    if (download->record.state.is<State::Paused>()) {
        requeue(*download);
    }
    engine_->turns.changed();
}

void DownloadManager::prioritize(DownloadID id, bool on) {
    const auto turn = engine_->turns.open();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    if (on && canGoFirst(download->record.state)) {
        makeOnlyPrioritized(*download);
    } else if (!on && download->isPrioritized()) {
        download->record.prioritized.reset();
        log::downloads([&] { return fmt::format("download {} isn't prioritized anymore", id); });
        engine_->growth.remeasure();
        engine_->turns.changed();
    }
}

void DownloadManager::makeOnlyPrioritized(Download& download) {
    for (const auto& other : engine_->list) {
        other->record.prioritized.reset();
    }
    download.record.prioritized = true;
    download.allowedOnLimitedNetwork = limitedNetwork().has_value();
    log::downloads([&] { return fmt::format("download {} prioritized", download.id()); });
    cutBackOthers(download);
    const auto& state = download.record.state;
    if (state.is<State::Downloading>()) {
        download.growth.own().afresh();
    } else if (!state.is<State::Queued>() && !state.is<State::Starting>()) {
        engine_->runner.halt(download);
        engine_->turns.set(download, State::Queued{});
    }
    engine_->turns.changed();
}

void DownloadManager::cutBackOthers(const Download& download) {
    for (const auto& other : engine_->list) {
        if (other.get() != &download && other->record.state.is<State::Downloading>()) {
            other->growth.own().cutBack(engine_->conditions.tuning.startingConnections);
            engine_->connections.trim(*other);
        }
    }
}

void DownloadManager::updateLink(DownloadID id, const URL& url, const SharedSession& session) {
    const auto turn = engine_->turns.open();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    auto& record = download->record;
    const auto siteBefore = record.url.site();
    record.url = url;
    record.finalURL.reset();
    if (session) {
        download->session = session;
        record.session = true;
    } else if (!download->session) {
        record.session.reset(); // the new link has to do without the one that was lost
    }
    download->withoutIfRange = false;
    download->allowedOnLimitedNetwork = limitedNetwork().has_value();
    log::downloads([&] { return fmt::format("download {} has a new link", id); });
    if (startsWithNewLink(record.state)) {
        record.state = State::Queued{};
    } else {
        engine_->runner.linkChanged(*download, siteBefore);
    }
    engine_->turns.changed();
}

void DownloadManager::move(DownloadID id, const std::optional<URL>& folder,
                           const std::optional<std::string>& name, Moved then) {
    const auto turn = engine_->turns.open();
    if (Download* const download = find(id)) {
        engine_->mover.move(*download, folder, name, std::move(then));
    }
}

void DownloadManager::stopMoving(DownloadID id) {
    const auto turn = engine_->turns.open();
    engine_->mover.stop(id);
}

void DownloadManager::setChecksum(DownloadID id, const std::optional<Checksum>& checksum) {
    const auto turn = engine_->turns.open();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    download->record.checksum = checksum;
    download->record.checksumResult.reset();
    engine_->turns.changed();
    engine_->finisher.checksumChanged(*download);
}

// Settings and the network

void DownloadManager::apply(const Config& config) {
    const auto turn = engine_->turns.open();
    const Config before = this->config();
    takeConfig(config);
    log::downloads([&] {
        return config.speedLimit ? fmt::format("speed limit {} bytes/s", *config.speedLimit)
                                 : std::string("no speed limit");
    });
    if (config.speedLimit != before.speedLimit) {
        engine_->ports.transport->setSpeedLimit(config.speedLimit);
        if (before.speedLimit && (!config.speedLimit || *config.speedLimit > *before.speedLimit)) {
            engine_->growth.remeasure(); // what was learned under the lower limit is of that
        }
    }
    if (config.waitOnHotspots != before.waitOnHotspots && limitedNetwork()) {
        config.waitOnHotspots ? holdAll() : releaseAll(State::Wait::limitedNetwork);
    }
    if (config.connectionsPerServer < before.connectionsPerServer) {
        engine_->connections.relieveServers();
    }
    engine_->turns.conditionsChanged();
}

/// Brings running downloads to the connections that the settings allow them now.
void DownloadManager::takeConfig(const Config& config) {
    auto& connections = engine_->connections;
    std::vector<std::pair<Download*, int>> running; // with their caps before
    for (const auto& download : engine_->list) {
        if (download->record.state.usesNetwork()) {
            running.emplace_back(download.get(), connections.cap(*download));
        }
    }
    engine_->conditions.config = config;
    for (const auto& [download, capBefore] : running) {
        download->caps.own().setRule(engine_->conditions.siteRule(download->record.url));
        if (connections.cap(*download) > capBefore && !download->growth->isGrowing()) {
            download->growth.own().afresh(); // it may have stopped at the old cap
        }
        if (download->record.state.is<State::Downloading>()) {
            connections.trim(*download);
        }
    }
}

void DownloadManager::setLimitedNetwork(std::optional<LimitedNetwork> network) {
    const auto turn = engine_->turns.open();
    if (network == limitedNetwork()) {
        return;
    }
    engine_->conditions.limitedNetwork = network;
    log::downloads([&] {
        return network ? fmt::format("on a limited network: {}", rawValue(*network))
                       : std::string("no longer on a limited network");
    });
    if (!network) {
        for (const auto& download : engine_->list) {
            download->allowedOnLimitedNetwork = false;
        }
        releaseAll(State::Wait::limitedNetwork);
    } else if (config().waitOnHotspots) {
        holdAll();
    }
    engine_->turns.conditionsChanged();
}

/// Every download that may not run on the limited network waits.
void DownloadManager::holdAll() {
    for (const auto& download : engine_->list) {
        if (wantsNetwork(download->record.state) &&
            admission::mustWaitForNetwork(*download, engine_->conditions)) {
            log::downloads(
                [&] { return fmt::format("download {} waiting on the limited network", download->id()); });
            hold(*download, State::Wait::limitedNetwork);
        }
    }
}

void DownloadManager::hold(Download& download, State::Wait reason) {
    engine_->runner.halt(download);
    engine_->turns.set(download, reason);
}

void DownloadManager::releaseAll(State::Wait reason) {
    for (const auto& download : engine_->list) {
        if (download->record.state.isWaiting(reason)) {
            engine_->turns.set(*download, State::Queued{});
        }
    }
}

void DownloadManager::setOnline(bool online) {
    const auto turn = engine_->turns.open();
    if (online == this->online()) {
        return;
    }
    engine_->conditions.online = online;
    log::network(online ? "online" : "offline");
    if (online) {
        releaseAll(State::Wait::offline);
    }
    for (const auto& download : engine_->list) {
        if (!online && wantsNetwork(download->record.state)) {
            hold(*download, State::Wait::offline);
        }
    }
    engine_->turns.changed();
}

void DownloadManager::reconnect() {
    const auto turn = engine_->turns.open();
    log::network([] { return std::string("the machine is awake again, connecting anew"); });
    for (const auto& download : engine_->list) {
        engine_->runner.reconnect(*download);
    }
    engine_->turns.conditionsChanged();
}

} // namespace fluvane
