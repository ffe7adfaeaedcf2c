// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Removals.h"

#include "FluvaneEngine/Abilities.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

/// Whether it would go on by itself if nobody removed it.
bool goesOn(const State& state) {
    return state.is<State::Verifying>() || (canPause(state) && !state.isWaiting(State::Wait::linkExpired));
}

void conceal(Download& download) {
    if (goesOn(download.record.state)) {
        download.record.state = State::Paused{};
    }
    download.record.removed = true;
}

} // namespace

void Removals::remove(Download& download) {
    log::downloads([&] { return fmt::format("download {} removed", download.id()); });
    end(download);
}

/// A file that is being moved is deleted, or left where it is, once nobody touches it anymore.
void Removals::end(Download& download) {
    runner_.halt(download);
    if (mover_.giveUp(download, [this](Download& still) { leftovers_.remove(still); })) {
        conceal(download);
        turns_.changed();
    } else {
        leftovers_.remove(download);
    }
}

void Removals::removeForNow(const std::vector<Download*>& downloads, double seconds) {
    const auto removal = std::make_shared<Removal>();
    for (Download* const download : downloads) {
        if (!download->record.state.is<State::Finishing>()) { // which can't be halted and go on
            removal->push_back(hide(*download));
        }
    }
    if (removal->empty()) {
        return;
    }
    removals_.push_back(removal);
    scheduler_->after(seconds, turns_.later([this, removal] { end(removal); }));
    turns_.changed();
}

Removals::Taken Removals::hide(Download& download) {
    runner_.halt(download);
    Taken taken{download.id(), download.record.state};
    conceal(download);
    log::downloads([&] { return fmt::format("download {} removed", taken.id); });
    return taken;
}

std::vector<DownloadID> Removals::undo() {
    if (removals_.empty()) {
        return {};
    }
    const auto removal = removals_.back();
    removals_.pop_back();
    std::vector<DownloadID> ids;
    for (const auto& [id, before] : *removal) {
        show(*list_.find(id), before);
        ids.push_back(id);
    }
    turns_.changed();
    return ids;
}

void Removals::show(Download& download, const DownloadState& before) {
    download.record.removed.reset();
    if (goesOn(before)) {
        download.record.state = State::Queued{};
    }
    log::downloads([&] { return fmt::format("download {} is back", download.id()); });
    if (before.is<State::Finished>()) {
        finisher_.verifyFinishedFile(download); // a digest may have been under way
    }
}

void Removals::end(const std::shared_ptr<Removal>& removal) {
    if (std::erase(removals_, removal) == 0) {
        return; // undone
    }
    std::ranges::for_each(*removal, [this](const Taken& taken) { end(taken); });
    turns_.changed();
}

void Removals::end(const Taken& taken) {
    end(*list_.find(taken.id));
}

void Removals::endAll() {
    for (const auto& removal : std::vector(removals_)) {
        end(removal);
    }
}

void Removals::forget(const URL& link) {
    for (const auto& removal : removals_) {
        std::erase_if(*removal, [&](const Taken& taken) {
            const auto& record = list_.find(taken.id)->record;
            const bool isIt = record.url == link && !record.state.is<State::Finished>();
            if (isIt) {
                end(taken);
            }
            return isIt;
        });
    }
    std::erase_if(removals_, [](const auto& removal) { return removal->empty(); });
}

} // namespace fluvane
