// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Leftovers.h"

#include "FluvaneEngine/Restoring.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace fluvane {

using State = DownloadState;

void Leftovers::begin() {
    for (const auto& leftover : std::vector(list_.leftovers())) {
        const bool isTaken = std::ranges::any_of(
            list_.all(), [&](const auto& download) { return download->record.partial == leftover->partial; });
        if (isTaken) { // deleted, and its name used again, before the list could say so
            list_.forget(*leftover);
        } else {
            clear(leftover);
        }
    }
}

void Leftovers::remove(Download& download) {
    const bool hadFile = download.hadFile || !download.record.pieces.empty();
    auto record = std::move(download.record);
    list_.remove(download);
    if (!record.partial || record.state.is<State::Finished>()) {
        turns_.changed();
        return;
    }
    record.removed = true;
    record.state = State::Paused{};
    // Nothing of it is claimed anymore; a piece says that the file was there.
    record.pieces =
        hadFile ? std::vector{Piece{.start = 0, .end = record.size, .done = 0}} : std::vector<Piece>();
    const auto leftover = std::make_shared<const DownloadRecord>(std::move(record));
    list_.keep(leftover);
    turns_.changed();
    // Before that the saved list still has claims to it: nobody else may get its name.
    saver_.onceSaved([this, leftover] { clear(leftover); });
}

void Leftovers::clear(const RecordSnapshot& leftover) {
    const auto isGone = std::make_shared<bool>();
    disk_.files().aside(
        leftover->id,
        [files = &disk_.files(), leftover, isGone] {
            const bool wasCreated = !leftover->pieces.empty() && !leftover->marked.value_or(false);
            auto location = *leftover->partial;
            if (leftover->moving && restoring::hasArrived(*leftover, *files)) {
                location = restoring::destination(*leftover);
            }
            *isGone = files->remove(location, Owner(*leftover), wasCreated);
        },
        turns_.later([this, leftover, isGone] {
            if (*isGone) { // else it is tried again at the next start
                list_.forget(*leftover);
                turns_.changed();
            }
        }));
}

} // namespace fluvane
