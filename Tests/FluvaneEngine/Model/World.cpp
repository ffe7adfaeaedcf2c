// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include <algorithm>
#include <iterator>
#include <map>

#include <fmt/format.h>

namespace fluvane::model {

namespace {

using Choice = World::Choice;

constexpr std::size_t mostDownloads = 8;

template <class T>
T one(std::initializer_list<T> choices, unsigned number) {
    return choices.begin()[number % choices.size()];
}

} // namespace

World::World() {
    tessivar::Log::setSink({});
    tessivar::Log::detailed = false;
    engine.files->make = [](auto device) { return std::make_shared<ContentFile>(device); };
    manager().start();
    engine.turns();
}

// Commands

std::string World::add(Choice choice) {
    if (manager().downloads().size() >= mostDownloads) {
        return "nothing";
    }
    const auto link = servers.link(choice.who);
    const auto folder = choice.how % 4 == 0 ? std::optional(URL::folder("/other/place")) : std::nullopt;
    const auto id = manager().add(link, folder, std::nullopt, checksum(choice), true);
    askedOnLimited.insert(id);
    keptRemovals.erase(id); // numbers may be given anew
    whenSaved(keptAdds, id);
    return fmt::format("{} as {}{}", link.absoluteString(), id, folder ? " in /other" : "");
}

std::string World::tell(Choice choice, void (DownloadManager::*command)(DownloadID)) {
    const auto id = pick(choice.who);
    (manager().*command)(id);
    return fmt::format("{}", id);
}

std::string World::remove(Choice choice) {
    const auto id = pick(choice.who);
    manager().remove(id);
    keptAdds.erase(id);
    whenSaved(keptRemovals, id);
    return fmt::format("{}", id);
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

std::string World::setting(Choice choice) {
    auto config = manager().config();
    const int number = static_cast<int>(choice.more);
    const Rule rule{.id = "rule",
                    .match = Rule::Site{"a.example"},
                    .folder = one<std::optional<std::string>>({std::nullopt, "/ruled"}, choice.more),
                    .connections = one<std::optional<int>>({std::nullopt, 1, 3}, choice.more)};
    config.connections = choice.how % 6 == 0 ? number % 9 : config.connections;
    config.connectionsPerServer = choice.how % 6 == 1 ? number % 12 : config.connectionsPerServer;
    config.simultaneous = choice.how % 6 == 2 ? number % 5 : config.simultaneous;
    config.speedLimit = choice.how % 6 == 3 ? std::optional<std::int64_t>(50'000) : std::nullopt;
    config.waitOnHotspots = choice.how % 6 == 4 ? number % 2 == 0 : config.waitOnHotspots;
    config.rules = choice.how % 6 == 5 ? std::vector{rule} : config.rules;
    config.clamp();
    manager().apply(config);
    engine.config = config;
    return fmt::format("{} connections, {} at a server, {} downloads, {}, {} at a.example",
                       config.connections, config.connectionsPerServer, config.simultaneous,
                       config.waitOnHotspots ? "hotspots wait" : "hotspots are used",
                       config.rules.empty() ? 0 : config.rules[0].connections.value_or(0));
}

// What the machine does

std::string World::network(Choice choice) {
    const auto limit = one<std::optional<LimitedNetwork>>(
        {std::nullopt, LimitedNetwork::hotspot, LimitedNetwork::lowDataMode}, choice.more);
    switch (choice.how % 8) {
    case 0:
        return manager().reconnect(), "connect anew";
    case 1:
        return manager().setOnline(false), "offline";
    case 2:
    case 3:
    case 4:
        return manager().setOnline(true), "online";
    default:
        if (!limit || !manager().limitedNetwork()) {
            askedOnLimited.clear();
        }
        manager().setLimitedNetwork(limit);
        return limit ? std::string(rawValue(*limit)) : "unlimited";
    }
}

std::string World::disk(Choice choice) {
    auto& files = *engine.files;
    auto& hung = engine.store->hung;
    struct Fault {
        const char* words;
        std::optional<std::string>& is;
    };
    const Fault faults[] = {{"syncing", files.failSync},
                            {"writing to what is full", files.failFull},
                            {"creating", files.failCreate},
                            {"opening", files.failOpen},
                            {"moving", files.failFinish},
                            {"reading", files.failChecksum},
                            {"saving the list", engine.store->error}};
    const auto how = choice.how % 12;
    if (how < std::size(faults)) {
        auto& fault = faults[how];
        fault.is = fault.is ? std::nullopt : std::optional<std::string>("It fails.");
        syncFailed = syncFailed || files.failSync;
        return fmt::format("{} {}", fault.words, fault.is ? "fails" : "is fine again");
    }
    if (how < 9) {
        const auto device = choice.more % 3; // 0 is the list's
        const bool hangs = hung.erase(device) == 0 && hung.insert(device).second;
        return fmt::format("{} {}", device, hangs ? "hangs" : "answers");
    }
    if (how < 11) {
        const auto id = pick(choice.who);
        const bool hangs = !files.hung.contains(id);
        hangs ? void(files.hung.insert(id)) : files.answer(id);
        return fmt::format("{} for {}", hangs ? "hangs" : "answers", id);
    }
    files.freeSpace =
        one<std::optional<std::int64_t>>({std::nullopt, 0, 4'000'000, 1'000'000'000}, choice.more);
    files.completionDelay = choice.more % 3;
    files.sparse = files.paths().empty() ? choice.more % 4 != 3 : files.sparse;
    return fmt::format("{} bytes free, checks and moves take {} s", files.freeSpace.value_or(-1),
                       files.completionDelay);
}

std::string World::restart(Choice choice) {
    const auto how = choice.how % 3;
    const bool isOnline = manager().online();
    const auto limit = manager().limitedNetwork();
    const bool isSaved = how == 0 && stop();
    engine.manager.reset();
    if (isSaved) {
        engine.turns(); // what isn't done yet is done before the process ends
    }
    engine.scheduler.forget();
    engine.store->forget();
    engine.files->forget();
    for (const auto& path : how == 1 ? engine.files->paths() : std::vector<std::string>()) {
        engine.files->bytes(path)->lose();
    }
    askedOnLimited.clear();
    keptRemovals.clear();
    unanswered = 0;
    syncFailed = engine.files->failSync.has_value();
    engine.restart();
    manager().setLimitedNetwork(limit);
    manager().setOnline(isOnline);
    noteBefore();
    return one<std::string>({"a good end", "a power cut", "a kill"}, how);
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

std::string World::serve(Choice choice) {
    const auto bytes = one<std::int64_t>({1000, 100'000, 400'001, 1'048'576, 4'194'304}, choice.how);
    const auto beats = one({1, 1, 2, 8}, choice.more);
    for (int beat = 0; beat < beats; ++beat) {
        servers.serve(bytes);
        pass(0.5);
    }
    return fmt::format("all {} bytes, {} times each 0.5 s", bytes, beats);
}

std::string World::pass(double seconds) {
    engine.scheduler.runFor(seconds);
    servers.forgetEnded();
    return fmt::format("{} s", seconds);
}

// What there is

void World::noteBefore() {
    queuedBefore.clear();
    activeBefore.clear();
    for (const auto* const download : manager().downloads()) {
        if (download->record.state.is<DownloadState::Queued>()) {
            queuedBefore.insert(download->id());
        } else if (download->record.state.isActive()) {
            activeBefore.insert(download->id());
        }
    }
}

DownloadID World::pick(unsigned who) {
    const auto all = manager().downloads();
    const auto id = all.empty() ? DownloadID{0} : all[who % all.size()]->id();
    askedOnLimited.insert(id);
    return id;
}

std::optional<Checksum> World::checksum(Choice choice) const {
    const auto content = choice.how % 2 == 0 ? servers.content(choice.who) : nothing;
    return choice.more % 2 == 0 ? std::nullopt
                                : std::optional(Checksum(Checksum::Algorithm::sha256, digestOf(content)));
}

std::shared_ptr<const ContentFile> World::file(const std::optional<URL>& location) const {
    const auto bytes = location ? engine.files->bytes(location->path()) : nullptr;
    return std::static_pointer_cast<const ContentFile>(bytes);
}

std::string World::picture() const {
    std::string text;
    for (const auto* const download : manager().downloads()) {
        const auto& record = download->record;
        text += fmt::format("  {} {}{}: {}, {} of {} bytes in {} pieces, {} connections, {}; {}\n",
                            download->id(), record.url.absoluteString(),
                            download->isPrioritized() ? ", prioritized" : "", engine.failure(record.id),
                            download->liveBytes(), record.size.value_or(-1), record.pieces.size(),
                            download->transfers.size(), record.partial ? record.partial->path() : "no file",
                            download->retry.isPending() ? "retries: " + download->retry.reason : "");
    }
    return text;
}

} // namespace fluvane::model
