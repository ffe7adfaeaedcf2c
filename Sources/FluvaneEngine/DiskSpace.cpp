// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/DiskSpace.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

/// Seconds between looks. A disk that says it has room and then has none, as with a quota, is asked less and
/// less often.
constexpr double lookInterval = 5;
constexpr double longestInterval = 60;
/// Kept free beside what is promised to others: their needs are known to a block, not to a byte.
constexpr std::int64_t largestReserve = 1'000'000'000;
constexpr std::int64_t reserveShare = 50;

std::int64_t stillNeeded(const Download& download) {
    return std::max<std::int64_t>(download.record.size.value_or(0) - download.liveBytes(), 0);
}

bool isPromised(const Download& download) {
    const State& state = download.record.state;
    return !download.isRemoved() && !state.is<State::Finished>() && !state.isWaiting(State::Wait::space) &&
           (download.record.partial || state.isActive());
}

} // namespace

void DiskSpace::begin() {
    std::map<std::string, Left> left; // by folder: one that doesn't answer holds up no other's
    for (const auto& download : list_) {
        const auto& record = download->record;
        if (record.partial && !record.state.is<State::Finished>()) {
            left[record.folder.path()].emplace_back(record.id, *record.partial);
        }
    }
    std::int64_t lane = 0; // no download's
    for (auto& [folder, files] : left) {
        begin(DownloadID{--lane}, std::move(files));
    }
}

void DiskSpace::begin(DownloadID lane, Left left) {
    auto devices = std::make_shared<std::map<DownloadID, std::uint64_t>>();
    disk_.files().aside(
        lane,
        [files = &disk_.files(), left = std::move(left), devices] {
            for (const auto& [id, location] : left) {
                if (const auto identity = files->identity(location)) {
                    devices->emplace(id, identity->device);
                }
            }
        },
        turns_.later([this, devices] {
            for (const auto& [id, device] : *devices) {
                Download* const download = list_.find(id);
                if (download && !download->device) {
                    download->device = device;
                }
            }
        }));
}

void DiskSpace::look(Download& download, Looked then) {
    disk_.run(
        download, [files = &disk_.files(), folder = download.record.folder] { return files->space(folder); },
        [this, then = std::move(then)](Download& looking, const std::optional<Space>& space) {
            if (space) {
                looking.device = space->device;
            }
            // Some file systems don't count what is free. On a full one the first write says so.
            const bool counts =
                space && (space->free > 0 || looking.record.state.isWaiting(State::Wait::space));
            then(looking, counts ? shortage(looking, *space) : std::nullopt);
        });
}

std::optional<DiskSpace::Shortage> DiskSpace::shortage(const Download& download, const Space& space) const {
    auto needed = stillNeeded(download);
    if (needed > space.total) {
        const tessivar::InEnglish english; // it is kept with the download
        return Shortage{.needed = needed,
                        .place = space.place,
                        .failure =
                            tessivar::kept("kept", "Not enough space: it needs %1, and there's %2 free.",
                                           words::bytes(needed), words::bytes(space.free))};
    }
    if (const auto promised = promisedBeside(download, space.device); promised > 0 && needed > 0) {
        const auto reserve = std::min(largestReserve, space.total / reserveShare);
        needed = checkedAdd(needed, checkedAdd(promised, reserve));
    }
    return space.free < std::max<std::int64_t>(needed, 1)
               ? std::optional(
                     Shortage{.needed = needed, .missing = needed - space.free, .place = space.place})
               : std::nullopt;
}

std::int64_t DiskSpace::promisedBeside(const Download& download, std::uint64_t device) const {
    std::int64_t promised = 0;
    for (const auto& other : list_) {
        if (other.get() != &download && other->device == device && isPromised(*other)) {
            promised = checkedAdd(promised, stillNeeded(*other));
        }
    }
    return promised;
}

void DiskSpace::wait(Download& download, const std::optional<Shortage>& shortage) {
    tell(download, shortage.value_or(Shortage{.needed = 0, .place = download.record.folder.path()}));
    log::downloads(
        [&] { return fmt::format("download {}: {}", download.id(), log::hidden(download.retry->reason)); });
    download.spaceDelay =
        shortage ? lookInterval : std::clamp(2 * download.spaceDelay, lookInterval, longestInterval);
    turns_.set(download, State::Wait::space);
    lookAgain(download);
}

void DiskSpace::lookAgain(Download& download) {
    scheduler_->after(download.spaceDelay, disk_.following(download, [this](Download& waiting) {
        look(waiting, [this](Download& looking, const std::optional<Shortage>& shortage) {
            if (!shortage) {
                turns_.set(looking, State::Queued{});
                return;
            }
            tell(looking, *shortage);
            looking.spaceDelay = lookInterval;
            lookAgain(looking);
        });
    }));
}

void DiskSpace::tell(Download& download, const Shortage& shortage) {
    auto sentence = words::waitingForSpace(shortage.needed, shortage.place, shortage.missing);
    if (download.retry->reason != sentence) {
        download.retry.own().reason = std::move(sentence);
        turns_.progressed();
    }
}

} // namespace fluvane
