// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include "FluvaneEngine/Starter.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

namespace fluvane::model {

using State = DownloadState;

namespace {

using Downloads = std::vector<const Download*>;

bool isSpared(const World& world) {
    return world.manager().limitedNetwork() && world.manager().config().waitOnHotspots;
}

bool mayRun(const World& world, const Download& download) {
    return world.manager().online() && (!isSpared(world) || download.allowedOnLimitedNetwork);
}

/// Whether all that the pieces claim lies in the file, of one content.
bool holds(const Extents& extents, const std::vector<Piece>& pieces) {
    std::optional<Content> first;
    return std::ranges::all_of(pieces, [&](const Piece& piece) {
        const auto there = piece.done > 0 ? extents.only(piece.start, piece.next()) : first.value_or(0);
        first = first || piece.done == 0 ? first : there;
        return there >= 0 && there == first.value_or(there);
    });
}

/// A start would take it for the one that the record is of.
bool isCarriedOn(const ContentFile* file, const DownloadRecord& record) {
    return file && Starter::mayCarryOn(record) && file->size() == record.size;
}

bool claimsOnlyWhatIsWritten(const World& world, const Download& download) {
    const auto file = world.file(download.record.partial);
    const bool counts = file && (download.file || isCarriedOn(file.get(), download.record));
    return !counts || download.claim.isDistrusted() || holds(file->written, download.livePieces());
}

bool isSourceWhenFinished(const World& world, const Download& download) {
    if (!download.record.state.is<State::Finished>()) {
        return true;
    }
    const auto file = world.file(download.record.file);
    const auto content = file ? file->synced.only(0, file->size()) : nothing;
    return content >= 0 && file->size() == Servers::sizeOf(content) && !download.record.partial;
}

bool hasNoMoreConnectionsThanAllowed(const World& world, const Download& download) {
    const auto& config = world.manager().config();
    const auto rule =
        rules::connections(config.rules, download.record.url.site()).value_or(config.connections);
    return std::ssize(download.transfers) <= std::max(std::min(config.connections, rule), 1);
}

bool usesOnlyNetworkItMay(const World& world, const Download& download) {
    const bool isAsked = !isSpared(world) || world.askedOnLimited.contains(download.id());
    return download.transfers.empty() || (world.manager().online() && isAsked);
}

bool hasConnectionsOnlyWhileItRuns(const World& world, const Download& download) {
    const auto open = std::ranges::count_if(world.servers.exchanges, [&](const auto& exchange) {
        return exchange->transfer->request.group == number(download.id());
    });
    return open == std::ssize(download.transfers) && (open == 0 || download.record.state.usesNetwork());
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

bool hasSomethingThatWakesIt(const World& world, const Download& download) {
    const auto& state = download.record.state;
    const bool hangs = !world.engine.files->hung.empty() || world.engine.scheduler.now() <= world.lateUntil;
    const bool isIdle = download.transfers.empty() && !download.retry.isPending();
    switch (state.kind()) {
    case StateKind::starting:
        return !isIdle || hangs;
    case StateKind::downloading:
        return !isIdle || (!download.file && hangs) || (download.file && roomFor(world, download) <= 0);
    case StateKind::retrying:
        return download.retry.isPending();
    case StateKind::offline:
        return !world.manager().online();
    case StateKind::limitedNetwork:
        return isSpared(world);
    default:
        return true;
    }
}

int active(const World& world) {
    return static_cast<int>(std::ranges::count_if(
        world.manager().downloads(), [](const auto* download) { return download->record.state.isActive(); }));
}

bool isQueuedForAReason(const World& world, const Download& download) {
    if (!download.record.state.is<State::Queued>() || !mayRun(world, download)) {
        return true;
    }
    const bool canGiveOne = std::ranges::any_of(world.manager().downloads(), [&](const auto* other) {
        return isBeside(*other, download) && !other->isPrioritized() && other->transfers.size() > 1;
    });
    const bool noSlot = active(world) >= world.manager().config().simultaneous;
    return !download.isPrioritized() && (noSlot || (roomFor(world, download) <= 0 && !canGiveOne));
}

/// Whether it was started in its turn.
bool startedInLine(const World& world, const Download& download) {
    const bool isNew = download.record.state.isActive() && world.queuedBefore.contains(download.id());
    const auto place = [](const Download* other) { return std::pair(other->record.queueKey(), other->id()); };
    return !isNew || download.isPrioritized() ||
           std::ranges::none_of(world.manager().downloads(), [&](const auto* other) {
               return other->record.state.template is<State::Queued>() &&
                      world.queuedBefore.contains(other->id()) && isBeside(*other, download) &&
                      mayRun(world, *other) && place(other) < place(&download);
           });
}

bool hasItsSlot(const World& world, const Download& download) {
    const bool isNew = download.record.state.isActive() && !world.activeBefore.contains(download.id());
    const bool priority = std::ranges::any_of(world.manager().downloads(), [](const auto* other) {
        return other->isPrioritized() && other->record.state.isActive();
    });
    return !isNew || download.isPrioritized() ||
           active(world) <= world.manager().config().simultaneous + (priority ? 1 : 0);
}

/// Of what is prioritized the first connection gets past a full server, and a lower setting leaves each
/// download one.
bool leavesRoomAtItsServer(const World& world, const Download& download) {
    const bool isExtra = std::ranges::any_of(world.manager().downloads(), [&](const auto* other) {
        return other->isPrioritized() && other->transfers.size() == 1 && isBeside(*other, download);
    });
    const bool isNew = !world.activeBefore.contains(download.id()) && !download.isPrioritized();
    return download.transfers.empty() || roomFor(world, download) + (isExtra ? 1 : 0) >= 0 ||
           (download.transfers.size() == 1 && !isNew);
}

bool hasItsOwnName(const World& world, const Download& download) {
    return std::ranges::none_of(world.manager().downloads(), [&](const auto* other) {
        const auto& mine = download.record;
        const auto& its = other->record;
        return other != &download &&
               ((mine.partial && mine.partial == its.partial) || (mine.file && mine.file == its.file) ||
                (mine.partial && its.partial && mine.name == its.name && mine.folder == its.folder));
    });
}

bool fetchesNothingTwice(const World& world, const Download& download) {
    return std::ranges::all_of(world.servers.exchanges, [&](const auto& exchange) {
        const auto active = std::ranges::find(download.transfers, exchange->transfer.get(),
                                              [](const auto& entry) { return entry.second.transfer.get(); });
        const auto index = active == download.transfers.end()
                               ? std::nullopt
                               : indexStarting(download.record.pieces, active->first);
        return !index || !exchange->transfer->isAccepted() ||
               exchange->transfer->end() == download.record.pieces[*index].end;
    });
}

// Of each download

struct OfEach {
    const char* sentence;
    bool (*holds)(const World& world, const Download& download);
};
constexpr OfEach ofEach[] = {
    {"No byte is claimed that wasn't written, at its place, all of one file.", claimsOnlyWhatIsWritten},
    {"A finished file is the server's, byte for byte, and on stable storage.", isSourceWhenFinished},
    {"A download has at most the connections that the settings and the rule allow.",
     hasNoMoreConnectionsThanAllowed},
    {"A server has at most the connections that the settings allow.", leavesRoomAtItsServer},
    {"What doesn't run has no connection, and nothing else has one.", hasConnectionsOnlyWhileItRuns},
    {"Nothing uses a limited network unasked, or any while offline.", usesOnlyNetworkItMay},
    {"What waits has something that wakes it.", hasSomethingThatWakesIt},
    {"What could start isn't queued, and what is prioritized least of all.", isQueuedForAReason},
    {"Downloads start in the order of the line.", startedInLine},
    {"At most so many run at once, but for the prioritized one.", hasItsSlot},
    {"No two downloads have the same name.", hasItsOwnName},
    {"A connection ends where its piece does.", fetchesNothingTwice},
};

// Of all together

bool savesOnlyWhatIsSynced(const World& world) {
    return std::ranges::all_of(world.engine.store->saved, [&](const DownloadRecord& record) {
        const auto file = world.file(record.partial);
        return !isCarriedOn(file.get(), record) || holds(file->synced, record.pieces);
    });
}

bool keepsItsWord(const World& world) {
    const auto isSaved = [&](DownloadID id) { return world.isSaved(id); };
    return !world.hasLied && std::ranges::all_of(world.keptAdds, isSaved) &&
           std::ranges::none_of(world.keptRemovals, isSaved);
}

bool hasOnePrioritizedAtMost(const World& world) {
    return std::ranges::count_if(world.manager().downloads(),
                                 [](const auto* download) { return download->isPrioritized(); }) <= 1;
}

bool ofRemovedNothingGoesOn(const World& world) {
    return std::ranges::all_of(world.servers.exchanges, [&](const auto& exchange) {
        return world.manager().download(DownloadID{exchange->transfer->request.group});
    });
}

struct OfAll {
    const char* sentence;
    bool (*holds)(const World& world);
};
constexpr OfAll ofAll[] = {
    {"The saved list claims nothing that isn't on stable storage.", savesOnlyWhatIsSynced},
    {"What was said to be saved is saved.", keepsItsWord},
    {"At most one download is prioritized.", hasOnePrioritizedAtMost},
    {"A good end keeps all bytes, and answers every command.",
     [](const World& world) { return !world.lostAtStop; }},
    {"What was removed has no connection.", ofRemovedNothingGoesOn},
};

} // namespace

bool waitsForBeat(const World& world) {
    return !std::ranges::all_of(world.manager().downloads(), [&](const auto* download) {
        return hasSomethingThatWakesIt(world, *download) && isQueuedForAReason(world, *download);
    });
}

std::optional<std::string> broken(const World& world) {
    for (const auto& [sentence, holds] : ofAll) {
        if (!holds(world)) {
            return sentence;
        }
    }
    const auto downloads = world.manager().downloads();
    for (const auto& [sentence, holds] : ofEach) {
        for (const auto* const download : downloads) {
            if (!holds(world, *download)) {
                return fmt::format("{} (download {})", sentence, download->id());
            }
        }
    }
    return std::nullopt;
}

} // namespace fluvane::model
