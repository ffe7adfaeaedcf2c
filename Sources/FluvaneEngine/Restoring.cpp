// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Restoring.h"

#include "FluvaneCore/FileName.h"
#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/UnfinishedFile.h"

#include <utility>

#include <fmt/format.h>

namespace fluvane::restoring {

using State = DownloadState;

namespace {

/// Whether pieces that come from disk cover the file, so that they lead no write astray and leave no hole.
bool areSound(const DownloadRecord& record) {
    if (!record.size) {
        return record.pieces.size() == 1 && record.pieces[0].start == 0 && record.pieces[0].done >= 0;
    }
    std::int64_t reached = 0;
    for (const auto& piece : record.pieces) {
        if (piece.start != reached || !piece.end || *piece.end < reached || piece.done < 0 ||
            piece.done > *piece.end - piece.start) {
            return false;
        }
        reached = *piece.end;
    }
    return reached == *record.size;
}

void makeFinished(DownloadRecord& record, const std::string& name, Date today) {
    record.name = name;
    record.file = record.folder.appending(name);
    record.partial.reset();
    record.completed = today;
    for (auto& piece : record.pieces) {
        piece.setDone(piece.length().value_or(piece.done));
    }
    record.state = State::Finished{};
    log::downloads([&] { return fmt::format("download {} was moved into place already", record.id); });
}

bool wasRunning(const State& state) {
    return state.isActive() || state.isWaiting(State::Wait::offline) ||
           state.isWaiting(State::Wait::limitedNetwork) || state.isWaiting(State::Wait::space);
}

} // namespace

bool mayBeMoved(const DownloadRecord& record) {
    return record.state.is<State::Finishing>() && record.partial && record.name && record.size;
}

std::optional<std::string> movedTo(const DownloadRecord& record, FileStore& files, DuplicateNaming naming) {
    if (!mayBeMoved(record)) {
        return std::nullopt;
    }
    const auto left = files.identity(*record.partial);
    const auto isMoved = [&](const std::string& name) {
        const auto location = record.folder.appending(name);
        if (left && left == files.identity(location)) {
            return true; // moved by a link, which left the old name to be taken away
        }
        const bool isLikely = !left && name == *record.name; // that name was free when the move began
        const auto mark = files.mark(location, Owner(record));
        return files.size(location) == record.size &&
               (mark == Mark::own || (mark == Mark::unkept && isLikely));
    };
    const auto name = fileName::unique(*record.name, naming, [&](const std::string& candidate) {
        return files.exists(record.folder.appending(candidate)) && !isMoved(candidate);
    });
    if (!isMoved(name)) {
        return std::nullopt;
    }
    if (left) { // also of a copy on another file system
        files.remove(*record.partial, Owner(record), !record.marked.value_or(false));
    }
    return name;
}

URL destination(const DownloadRecord& record) {
    const auto& [folder, name] = *record.moving;
    return record.file ? folder.appending(name) : unfinishedFile::location(folder, name);
}

/// The name was free when the list was saved with it, and a copy gets it only when it is whole.
bool hasArrived(const DownloadRecord& record, FileStore& files) {
    const auto& from = record.file ? record.file : record.partial;
    const auto to = destination(record);
    if (from == to) {
        return true; // as only a list edited by hand says
    }
    const auto left = from ? files.identity(*from) : std::nullopt;
    const auto mark = files.mark(to, Owner(record));
    const bool isLinked = left && left == files.identity(to); // the old name is yet to be taken away
    const bool isIts = files.size(to) && (mark == Mark::own || (mark == Mark::unkept && !left));
    if (left && (isLinked || isIts)) {
        const bool isUnmarked =
            record.file ? files.mark(*from, Owner(record)) == Mark::unkept : !record.marked.value_or(false);
        files.remove(*from, Owner(record), isUnmarked);
    }
    return isLinked || isIts;
}

DownloadRecord restored(DownloadRecord record, const std::optional<std::string>& movedTo, bool online,
                        Date today) {
    if (!record.pieces.empty() && !areSound(record)) {
        log::files.error(
            fmt::format("download {}: its saved pieces make no sense, it starts afresh", record.id));
        record.pieces.clear();
    }
    if (movedTo) {
        makeFinished(record, *movedTo, today);
    } else if (wasRunning(record.state)) {
        record.state = State::Queued{};
    }
    if (record.name && !record.file) { // of an earlier version, or edited: the file is yet to get it
        record.name = fileName::clean(*record.name).value_or("download");
    }
    if (record.moving) {
        auto place = *record.moving;
        place.name = fileName::clean(place.name).value_or("download");
        record.moving = std::move(place);
    }
    if (!online && record.state.is<State::Queued>()) {
        record.state = State::Wait::offline;
    }
    return record;
}

} // namespace fluvane::restoring
