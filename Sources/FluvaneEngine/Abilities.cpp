// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Abilities.h"

namespace fluvane {

using State = DownloadState;

bool runs(const DownloadState& state) {
    return runs(state.kind());
}

bool needsAttention(const DownloadRecord& record) {
    const StateKind state = record.state.kind();
    return needsAttention(state) || (state == StateKind::finished && record.isMismatched());
}

bool canPause(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
        return true;
    case StateKind::paused:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool canResume(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::failed:
        return true;
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::retrying:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
        return false;
    }
    return false;
}

bool resumesWithAll(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::paused:
    case StateKind::limitedNetwork:
    case StateKind::space:
        return true;
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool wantsNetwork(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::retrying:
        return true;
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool startsWithNewLink(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::paused:
    case StateKind::linkExpired:
    case StateKind::failed:
        return true;
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
        return false;
    }
    return false;
}

bool canBeNext(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::queued:
    case StateKind::paused:
        return true;
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool canGoFirst(const DownloadState& state) {
    switch (state.kind()) {
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::failed:
        return true;
    case StateKind::linkExpired:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
        return false;
    }
    return false;
}

std::string_view Abilities::resumeLabel() const {
    return tryAgain ? "Try Again" : downloadAnyway ? "Download Anyway" : "Resume";
}

Abilities abilities(const Download& download) {
    const DownloadRecord& record = download.record;
    const State& state = record.state;
    const bool finished = state.is<State::Finished>();
    const bool ending = state.is<State::Verifying>() || state.is<State::Finishing>();
    Abilities can;
    can.pause = canPause(state);
    can.tryAgain = state.is<State::Failed>() || state.isWaiting(State::Wait::linkExpired);
    can.downloadAnyway = state.isWaiting(State::Wait::limitedNetwork);
    // Without a network it would only wait again.
    can.resume = canResume(state) && !state.isWaiting(State::Wait::offline);
    can.next = canBeNext(state);
    can.prioritize = canGoFirst(state) && !download.isPrioritized();
    can.stopPrioritizing = download.isPrioritized() && !state.isDone();
    can.changeLink = !finished && !ending;
    can.move = !state.is<State::Finishing>() && !download.isMoving && (!finished || record.file);
    can.stopMoving = download.percentMoved >= 0;
    can.open = finished && record.file;
    can.show = can.open || (!finished && record.partial && !record.pieces.empty());
    can.removeFile = can.open;
    can.losesBytes = !finished && record.partial && download.liveBytes() > 0;
    return can;
}

} // namespace fluvane
