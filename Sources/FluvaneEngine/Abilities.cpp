// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Abilities.h"

namespace fluvane {

using State = DownloadState;

bool runs(const DownloadState& state) {
    return state.isActive() && !state.isWaiting(State::Wait::retrying);
}

bool canBeNext(const DownloadState& state) {
    return state.is<State::Queued>() || state.is<State::Paused>();
}

bool canGoFirst(const DownloadState& state) {
    return !state.is<State::Verifying>() && !state.is<State::Finishing>() && !state.is<State::Finished>() &&
           !state.isWaiting(State::Wait::linkExpired);
}

std::string_view Abilities::resumeLabel() const {
    return tryAgain ? "Try Again" : downloadAnyway ? "Download Anyway" : "Resume";
}

Abilities abilities(const Download& download) {
    const DownloadRecord& record = download.record;
    const State& state = record.state;
    const bool waits = state.is<State::Waiting>();
    const bool finished = state.is<State::Finished>();
    const bool ending = state.is<State::Verifying>() || state.is<State::Finishing>();
    Abilities can;
    can.pause =
        waits || state.is<State::Queued>() || state.is<State::Starting>() || state.is<State::Downloading>();
    can.tryAgain = state.is<State::Failed>() || state.isWaiting(State::Wait::linkExpired);
    can.downloadAnyway = state.isWaiting(State::Wait::limitedNetwork);
    // Without a network it would only wait again.
    can.resume = can.tryAgain || can.downloadAnyway || state.is<State::Paused>();
    can.next = canBeNext(state);
    can.prioritize = canGoFirst(state) && !download.isPrioritized();
    can.stopPrioritizing = download.isPrioritized() && !state.isDone();
    can.changeLink = !finished && !ending;
    can.open = finished && record.file;
    can.show = can.open || (!finished && record.partial);
    can.removeFile = can.open;
    can.losesBytes = !finished && record.partial && download.liveBytes() > 0;
    return can;
}

} // namespace fluvane
