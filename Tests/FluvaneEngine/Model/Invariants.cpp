// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include "FluvaneEngine/Starter.h"

namespace fluvane::model {

namespace {

using Promises = std::initializer_list<std::pair<bool, const char*>>;

const char* brokenOne(Promises promises) {
    const auto* const found = std::ranges::find(promises, false, &std::pair<bool, const char*>::first);
    return found == promises.end() ? nullptr : found->second;
}

template <class Holds>
bool anyDownload(const World& world, Holds holds) {
    return std::ranges::any_of(world.manager().downloads(), holds);
}

bool isSpared(const World& world) {
    return world.manager().limitedNetwork() && world.manager().config().waitOnHotspots;
}

bool mayRun(const World& world, const Download& download) {
    return !download.isMoving && world.manager().online() &&
           (!isSpared(world) || download.allowedOnLimitedNetwork);
}

bool isQueued(const Download& download) {
    return download.record.state.is<DownloadState::Queued>();
}

/// Whether all that the pieces claim lies in the file, of one content.
bool holds(const Extents& extents, const std::vector<Piece>& pieces) {
    std::set<Content> found;
    for (const auto& piece : pieces) {
        if (piece.done > 0) {
            found.insert(extents.only(piece.start, piece.next()));
        }
    }
    return found.size() <= 1 && (found.empty() || *found.begin() >= 0);
}

/// A start would take it for the one that the record is of.
bool isCarriedOn(const ContentFile* file, const DownloadRecord& record) {
    return file && Starter::mayCarryOn(record) && file->size() == record.size;
}

bool isBeside(const Download& one, const Download& other) {
    return one.record.url.site() == other.record.url.site();
}

/// At its server.
int roomFor(const World& world, const Download& download) {
    int room = world.manager().config().connectionsPerServer;
    for (const auto* const other : world.manager().downloads()) {
        room -= isBeside(*other, download) ? other->connectionsTaken() : 0;
    }
    return room;
}

int active(const World& world) {
    return static_cast<int>(std::ranges::count_if(
        world.manager().downloads(), [](const auto* download) { return download->record.state.isActive(); }));
}

bool hasSomethingThatWakesIt(const World& world, const Download& download) {
    const bool hangs = !world.files.hung.empty() || world.engine.scheduler.now() <= world.lateUntil;
    const bool isIdle = download.transfers.empty() && !download.retry->isPending();
    switch (download.record.state.kind()) {
    case StateKind::starting:
        return !isIdle || hangs || download.isMoving;
    case StateKind::downloading:
        return !isIdle || download.isMoving || (download.file ? roomFor(world, download) <= 0 : hangs);
    case StateKind::retrying:
        return download.retry->isPending();
    case StateKind::offline:
        return !world.manager().online();
    case StateKind::limitedNetwork:
        return isSpared(world);
    default:
        return true;
    }
}

bool isQueuedForAReason(const World& world, const Download& download) {
    const bool canGiveOne = anyDownload(world, [&](const auto* other) {
        return isBeside(*other, download) && !other->isPrioritized() && other->transfers.size() > 1;
    });
    const bool noSlot = active(world) >= world.manager().config().simultaneous;
    return !isQueued(download) || !mayRun(world, download) ||
           (!download.isPrioritized() && (noSlot || (roomFor(world, download) <= 0 && !canGiveOne)));
}

bool isSourceWhenFinished(const World& world, const Download& download) {
    const auto file = world.file(download.record.file);
    const auto content = file ? file->synced.only(0, file->size()) : nothing;
    return !download.record.state.is<DownloadState::Finished>() || download.isMoving ||
           (content >= 0 && file->size() == Servers::sizeOf(content) && !download.record.partial);
}

bool hasItsOwnName(const Download& download, const Download& other) {
    const auto& mine = download.record;
    const auto& its = other.record;
    return &other == &download ||
           ((!mine.partial || mine.partial != its.partial) && (!mine.file || mine.file != its.file) &&
            (!mine.partial || !its.partial || mine.name != its.name || mine.folder != its.folder));
}

bool endsWithItsPiece(const Exchange& exchange, const Download& download) {
    const auto active = std::ranges::find(download.transfers, exchange.transfer.get(),
                                          [](const auto& entry) { return entry.second.transfer.get(); });
    const auto index = active == download.transfers.end()
                           ? std::nullopt
                           : indexStarting(download.record.pieces, active->first);
    return !index || !exchange.transfer->isAccepted() ||
           exchange.transfer->end() == download.record.pieces[*index].end;
}

const char* brokenOf(const World& world, const Download& download) {
    const auto& manager = world.manager();
    const auto& config = manager.config();
    const auto& record = download.record;
    const auto& exchanges = world.servers.exchanges;
    const auto used = std::ssize(download.transfers);
    const auto partial = world.file(record.partial);
    const bool counts = partial && (download.file || isCarriedOn(partial.get(), record));
    const auto rule = rules::connections(config.rules, record.url.site()).value_or(config.connections);
    const auto open = std::ranges::count_if(exchanges, [&](const auto& exchange) {
        return exchange->transfer->request.group == number(download.id());
    });
    const bool isNew = record.state.isActive() && !download.isPrioritized();
    const bool wasActive = world.activeBefore.contains(download.id());
    // Of what is prioritized the first connection gets past a full server, and a lower setting leaves each
    // download one.
    const bool isExtra = anyDownload(world, [&](const auto* other) {
        return other->isPrioritized() && other->transfers.size() == 1 && isBeside(*other, download);
    });
    const bool isOver = used > 0 && roomFor(world, download) + (isExtra ? 1 : 0) < 0;
    const auto place = [](const Download& one) { return std::pair(one.record.queueKey(), one.id()); };
    const auto isPassedOver = [&](const Download* other) {
        return isQueued(*other) && world.queuedBefore.contains(other->id()) && isBeside(*other, download) &&
               mayRun(world, *other) && place(*other) < place(download);
    };
    const bool priority = anyDownload(
        world, [](const auto* other) { return other->isPrioritized() && other->record.state.isActive(); });
    return brokenOne({
        {!counts || download.claim.isDistrusted() || holds(partial->written, download.livePieces()),
         "No byte is claimed that wasn't written, at its place, all of one file."},
        {isSourceWhenFinished(world, download),
         "A finished file is the server's, byte for byte, and on stable storage."},
        {used <= std::max(std::min(config.connections, rule), 1),
         "A download has at most the connections that the settings and the rule allow."},
        {!isOver || (used == 1 && (wasActive || download.isPrioritized())),
         "A server has at most the connections that the settings allow."},
        {open == used && (open == 0 || record.state.usesNetwork()),
         "What doesn't run has no connection, and nothing else has one."},
        {used == 0 ||
             (manager.online() && (!isSpared(world) || world.askedOnLimited.contains(download.id()))),
         "Nothing uses a limited network unasked, or any while offline."},
        {hasSomethingThatWakesIt(world, download), "What waits has something that wakes it."},
        {isQueuedForAReason(world, download),
         "What could start isn't queued, and what is prioritized least of all."},
        {!isNew || !world.queuedBefore.contains(download.id()) || !anyDownload(world, isPassedOver),
         "Downloads start in the order of the line."},
        {!isNew || wasActive || active(world) <= config.simultaneous + (priority ? 1 : 0),
         "At most so many run at once, but for the prioritized one."},
        {!anyDownload(world, [&](const auto* other) { return !hasItsOwnName(download, *other); }),
         "No two downloads have the same name."},
        {std::ranges::all_of(exchanges, [&](const auto& each) { return endsWithItsPiece(*each, download); }),
         "A connection ends where its piece does."},
    });
}

const char* brokenOfAll(const World& world) {
    const auto isSaved = [&](DownloadID id) { return world.isSaved(id); };
    const auto isSynced = [&](const DownloadRecord& record) {
        const auto file = world.file(record.partial);
        return !isCarriedOn(file.get(), record) || holds(file->synced, record.pieces);
    };
    const auto isKnown = [&](const auto& exchange) {
        return world.manager().download(DownloadID{exchange->transfer->request.group}) != nullptr;
    };
    return brokenOne({
        {std::ranges::all_of(world.engine.store->saved, isSynced),
         "The saved list claims nothing that isn't on stable storage."},
        {!world.hasLied && std::ranges::all_of(world.keptAdds, isSaved) &&
             std::ranges::none_of(world.keptRemovals, isSaved),
         "What was said to be saved is saved."},
        {!world.hasOrphan, "A file is on the saved list before it is created."},
        {std::ranges::count_if(world.manager().downloads(), &Download::isPrioritized) <= 1,
         "At most one download is prioritized."},
        {!world.lostAtStop, "A good end keeps all bytes, and answers every command."},
        {std::ranges::all_of(world.servers.exchanges, isKnown), "What was removed has no connection."},
    });
}

} // namespace

bool waitsForBeat(const World& world) {
    return anyDownload(world, [&](const auto* download) {
        return !hasSomethingThatWakesIt(world, *download) || !isQueuedForAReason(world, *download);
    });
}

std::optional<std::string> broken(const World& world) {
    if (const auto* const sentence = brokenOfAll(world)) {
        return sentence;
    }
    for (const auto* const download : world.manager().downloads()) {
        if (const auto* const sentence = brokenOf(world, *download)) {
            return fmt::format("{} (download {})", sentence, download->id());
        }
    }
    return std::nullopt;
}

std::optional<std::string> brokenAtEnd(const World& world, bool isLast) {
    const auto all = world.manager().downloads();
    for (const auto* const download : all) {
        const auto kind = download->record.state.kind();
        const bool waitsForPerson =
            kind == StateKind::paused || kind == StateKind::failed || kind == StateKind::linkExpired;
        if (kind != StateKind::finished && (isLast || !waitsForPerson)) {
            return fmt::format("Everything comes to its end once nothing is wrong. (download {})",
                               download->id());
        }
    }
    const bool isSaved =
        std::ranges::equal(all, world.engine.store->saved, [](const auto* download, const auto& record) {
            return download->id() == record.id && download->record.state == record.state;
        });
    const auto isKnown = [&](const std::string& path) {
        return world.listFailed || !path.ends_with(".fluvane") ||
               std::ranges::any_of(world.engine.store->saved, [&](const auto& record) {
                   return record.partial && record.partial->path() == path;
               });
    };
    const auto* const sentence = brokenOne(
        {{std::ranges::all_of(world.files.paths(), isKnown), "Every unfinished file is on the list."},
         {world.unanswered == 0, "Every command is answered."},
         {isSaved, "In the end the saved list is the list."}});
    return sentence ? sentence : broken(world);
}

} // namespace fluvane::model
