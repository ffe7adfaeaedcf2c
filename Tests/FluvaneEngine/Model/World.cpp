// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

namespace fluvane::model {

namespace {

constexpr std::size_t mostDownloads = 8;

template <class T>
T one(std::initializer_list<T> choices, unsigned number) {
    return choices.begin()[number % choices.size()];
}

/// What may happen, and of 256 how often.
struct Kind {
    unsigned weight;
    const char* words;
    void (*happen)(World& world);
};
constexpr std::int64_t counts[] = {0, 1, 777, 20'000, 65'536, 300'000, 1'048'576, 3'145'728};
constexpr double times[] = {0.1, 0.5, 1, 2.1, 2.1, 6, 12, 65};
constexpr Kind kinds[] = {
    {20, "add", [](World& world) { world.add(); }},
    {6, "pause", [](World& world) { world.manager().pause(world.pick()); }},
    {8, "resume", [](World& world) { world.manager().resume(world.pick()); }},
    {3, "remove", [](World& world) { world.remove(); }},
    {2, "undo", [](World& world) { world.undo(); }},
    {5, "next", [](World& world) { world.manager().downloadNext(world.pick()); }},
    {7, "prioritize", [](World& world) { world.manager().prioritize(world.pick(), world.how % 3 > 0); }},
    {3, "link",
     [](World& world) { world.manager().updateLink(world.pick(), world.servers.link(world.how)); }},
    {3, "checksum", [](World& world) { world.manager().setChecksum(world.pick(), world.checksum()); }},
    {6, "move", [](World& world) { world.move(); }},
    {3, "pause all", [](World& world) { world.manager().pauseAll(); }},
    {4, "resume all", [](World& world) { world.resumeAll(); }},
    {2, "save", [](World& world) { world.save(); }},
    {12, "setting", [](World& world) { world.setting(); }},
    {16, "network", [](World& world) { world.network(); }},
    {18, "disk", [](World& world) { world.disk(); }},
    {5, "restart", [](World& world) { world.restart(); }},
    {33, "answer",
     [](World& world) { world.servers.answer(world.who, world.how % 32, world.more % 2 == 1); }},
    {30, "send", [](World& world) { world.servers.send(world.who, counts[world.how % 8]); }},
    {14, "cut", [](World& world) { world.servers.cut(world.who, world.how); }},
    {34, "serve", [](World& world) { world.serve(); }},
    {14, "let pass", [](World& world) { world.pass(times[world.how % 8]); }},
    {8, "change", [](World& world) { world.servers.change(world.who, world.how % 2 == 0); }},
};

} // namespace

World::World() {
    tessivar::Log::setSink({});
    tessivar::Log::detailed = false;
    files.make = [](auto device) { return std::make_shared<ContentFile>(device); };
    files.onCreate = [this](const std::string& path) {
        hasOrphan |=
            !engine.store->hasFailed && std::ranges::none_of(engine.store->saved, [&](const auto& record) {
                return record.partial && record.partial->path() == path;
            });
    };
    manager().start();
    engine.turns();
}

std::string World::happen(Step step) {
    noteBefore();
    auto place = step & 0xff;
    const auto* kind = std::begin(kinds);
    for (; place >= kind->weight; ++kind) {
        place -= kind->weight;
    }
    who = step >> 8 & 0xff;
    how = step >> 16 & 0xff;
    more = step >> 24 & 0x7f;
    isAtRest = step >> 31 == 0;
    kind->happen(*this);
    if (isAtRest) {
        engine.turns();
        engine.scheduler.runFor(waitsForBeat(*this) ? 0.5 : 0);
    }
    if (engine.store->error || engine.store->hung.contains(engine.store->list)) {
        lateUntil = engine.scheduler.now() + slowestSave;
    }
    listFailed = listFailed || engine.store->error;
    servers.forgetEnded();
    engine.transport->transfers.clear();
    return fmt::format("{} {} {} {}{}", kind->words, who, how, more, isAtRest ? "" : ", and at once");
}

// Commands

void World::add() {
    if (manager().downloads().size() < mostDownloads) {
        const auto folder = how % 4 == 0 ? std::optional(URL::folder("/other/place")) : std::nullopt;
        const auto id = manager().add(servers.link(who), folder, std::nullopt, checksum(), true);
        askedOnLimited.insert(id);
        keptRemovals.erase(id); // numbers may be given anew
        whenSaved(keptAdds, id);
    }
}

void World::remove() {
    const auto id = pick();
    how % 2 == 0 ? manager().remove(id) : manager().removeForNow({id, DownloadID{number(id) + 1}});
    std::erase_if(keptAdds, [this](auto kept) { return !manager().download(kept); });
    whenSaved(keptRemovals, id);
}

void World::undo() {
    for (const auto id : manager().undoRemoval()) {
        keptRemovals.erase(id);
    }
}

void World::resumeAll() {
    for (const auto* const download : manager().downloads()) {
        askedOnLimited.insert(download->id());
    }
    manager().resumeAll();
}

void World::move() {
    const auto id = pick();
    manager().move(
        id, one<std::optional<URL>>({std::nullopt, URL::folder("/moved"), URL::folder("/other/place")}, how),
        one<std::optional<std::string>>({std::nullopt, "named", "b", ".."}, more), {});
}

void World::save() {
    ++unanswered;
    const auto told = [this](const auto&) { --unanswered; };
    how % 2 == 0 ? manager().whenSaved(told) : manager().saveEverything(told);
}

bool World::isSaved(DownloadID id) const {
    return std::ranges::any_of(engine.store->saved, [id](const DownloadRecord& record) {
        return record.id == id && !record.removed.value_or(false);
    });
}

void World::whenSaved(std::set<DownloadID>& kept, DownloadID id) {
    ++unanswered;
    manager().whenSaved([this, &kept, id](const auto& error) {
        --unanswered;
        const bool isThere = manager().download(id);
        if (!error && isThere == (&kept == &keptAdds)) { // and not removed meanwhile
            kept.insert(id);
            hasLied = hasLied || isSaved(id) != isThere;
        }
    });
}

void World::setting() {
    auto config = manager().config();
    const int number = static_cast<int>(more);
    const Rule rule{.id = "rule",
                    .match = Rule::Site{"a.example"},
                    .folder = one<std::optional<std::string>>({std::nullopt, "/ruled"}, more),
                    .connections = one<std::optional<int>>({std::nullopt, 1, 3}, more)};
    config.connections = how % 6 == 0 ? number % 9 : config.connections;
    config.connectionsPerServer = how % 6 == 1 ? number % 12 : config.connectionsPerServer;
    config.simultaneous = how % 6 == 2 ? number % 5 : config.simultaneous;
    config.speedLimit = how % 6 == 3 ? std::optional<std::int64_t>(50'000) : std::nullopt;
    config.waitOnHotspots = how % 6 == 4 ? number % 2 == 0 : config.waitOnHotspots;
    config.rules = how % 6 == 5 ? std::vector{rule} : config.rules;
    config.clamp();
    manager().apply(config);
    engine.config = config;
}

// What the machine does

void World::network() {
    const auto limit = one<std::optional<LimitedNetwork>>(
        {std::nullopt, LimitedNetwork::hotspot, LimitedNetwork::lowDataMode}, more);
    if (how % 8 == 0) {
        manager().reconnect();
    } else if (how % 8 < 5) {
        manager().setOnline(how % 8 > 1);
    } else {
        if (!limit || !manager().limitedNetwork()) {
            askedOnLimited.clear();
        }
        manager().setLimitedNetwork(limit);
    }
}

void World::disk() {
    auto& hung = engine.store->hung;
    const auto which = how % 12;
    if (which < 7) {
        auto& fault = *faults[which];
        fault = fault ? std::nullopt : std::optional<std::string>("It fails.");
        syncFailed = syncFailed || files.failSync;
    } else if (which < 9) {
        const auto device = more % 3; // 0 is the list's
        hung.erase(device) == 0 ? void(hung.insert(device)) : void();
    } else if (which < 11) {
        const auto id = pick();
        files.hung.contains(id) ? files.answer(id) : void(files.hung.insert(id));
    } else {
        files.freeSpace = one<std::optional<std::int64_t>>({std::nullopt, 0, 4'000'000, 1'000'000'000}, more);
        files.completionDelay = more % 3;
        files.sparse = files.paths().empty() ? more % 4 != 3 : files.sparse;
    }
}

void World::restart() {
    const bool isPowerCut = how % 3 == 1;
    const bool isOnline = manager().online();
    const auto limit = manager().limitedNetwork();
    const bool isSaved = how % 3 == 0 && stop(); // else it is killed
    engine.manager.reset();
    if (isSaved) {
        engine.turns(); // what isn't done yet is done before the process ends
    }
    engine.scheduler.forget();
    engine.store->forget();
    files.forget();
    for (const auto& path : isPowerCut ? files.paths() : std::vector<std::string>()) {
        files.bytes(path)->lose();
    }
    askedOnLimited.clear();
    keptRemovals.clear();
    unanswered = 0;
    syncFailed = files.failSync.has_value();
    engine.restart();
    manager().setLimitedNetwork(limit);
    manager().setOnline(isOnline);
    noteBefore();
}

bool World::stop() {
    std::map<DownloadID, std::int64_t> bytes;
    for (const auto* const download : manager().downloads()) {
        const bool keeps = download->file && download->record.resumable;
        bytes[download->id()] = keeps ? download->liveBytes() : 0;
    }
    const bool isDone = manager().stop();
    lostAtStop = lostAtStop || unanswered > 0;
    if (!isDone || engine.store->error || syncFailed) {
        return false;
    }
    for (const auto& record : engine.store->saved) {
        lostAtStop = lostAtStop || record.doneBytes() < bytes[record.id];
        bytes.erase(record.id);
    }
    lostAtStop = lostAtStop || !bytes.empty();
    return true;
}

// Time

void World::serve() {
    const auto bytes = one<std::int64_t>({1000, 100'000, 400'001, 1'048'576, 4'194'304}, how);
    for (int beats = one({1, 1, 2, 8}, more); beats > 0; --beats) {
        servers.serve(bytes);
        pass(0.5);
    }
}

void World::pass(double seconds) {
    engine.scheduler.runFor(seconds);
    servers.forgetEnded();
}

void World::recover() {
    for (auto* const fault : faults) {
        fault->reset();
    }
    files.freeSpace.reset();
    for (const auto id : std::set(files.hung)) {
        files.answer(id);
    }
    engine.store->hung.clear();
    askedOnLimited.clear();
    manager().setLimitedNetwork(std::nullopt);
    manager().setOnline(true);
    noteBefore();
    const auto goesOn = [](const auto* download) {
        const auto& state = download->record.state;
        return state.isActive() || state.template is<DownloadState::Queued>() ||
               state.isWaiting(DownloadState::Wait::space);
    };
    constexpr int mostRounds = 1500;
    for (int round = 0; round < mostRounds && std::ranges::any_of(manager().downloads(), goesOn); ++round) {
        servers.serve(8'000'000);
        pass(servers.exchanges.empty() ? 2 : 0.5);
    }
    pass(10); // for the list
}

// What there is

void World::noteBefore() {
    queuedBefore.clear();
    activeBefore.clear();
    for (const auto* const download : manager().downloads()) {
        if (download->record.state.is<DownloadState::Queued>() && !download->isMoving) {
            queuedBefore.insert(download->id());
        } else if (download->record.state.isActive()) {
            activeBefore.insert(download->id());
        }
    }
}

DownloadID World::pick() {
    const auto all = manager().downloads();
    const auto id = all.empty() ? DownloadID{0} : all[who % all.size()]->id();
    askedOnLimited.insert(id);
    return id;
}

std::optional<Checksum> World::checksum() const {
    const auto content = how % 2 == 0 ? servers.content(who) : nothing;
    return more % 2 == 0 ? std::nullopt
                         : std::optional(Checksum(Checksum::Algorithm::sha256, digestOf(content)));
}

std::shared_ptr<const ContentFile> World::file(const std::optional<URL>& location) const {
    const auto bytes = location ? files.bytes(location->path()) : nullptr;
    return std::static_pointer_cast<const ContentFile>(bytes);
}

std::string World::picture() const {
    const auto& config = manager().config();
    auto text = fmt::format(
        "  {} connections, {} at a server, {} downloads, {}, {} network, faults: ", config.connections,
        config.connectionsPerServer, config.simultaneous, manager().online() ? "online" : "offline",
        manager().limitedNetwork() ? "limited" : "any");
    for (const auto* const fault : faults) {
        text += *fault ? "x" : "-";
    }
    for (const auto* const download : manager().downloads()) {
        const auto& record = download->record;
        text += fmt::format("\n  {} {}: {}, {} of {} bytes in {} pieces, {} connections; {}", record.id,
                            record.url.absoluteString(), engine.failure(record.id), download->liveBytes(),
                            record.size.value_or(-1), record.pieces.size(), download->transfers.size(),
                            download->retry->isPending() ? "retries: " + download->retry->reason : "");
    }
    return text;
}

} // namespace fluvane::model
