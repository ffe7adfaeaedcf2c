// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/StateName.h"

#include <array>

namespace fluvane {

namespace {

std::string_view waitName(DownloadState::Wait reason) {
    switch (reason) {
    case DownloadState::Wait::offline:
        return "offline";
    case DownloadState::Wait::retrying:
        return "retrying";
    case DownloadState::Wait::linkExpired:
        return "link-expired";
    case DownloadState::Wait::limitedNetwork:
        return "limited-network";
    }
    return "";
}

} // namespace

std::string_view stateName(const DownloadState& state) {
    if (const auto* waiting = std::get_if<DownloadState::Waiting>(&state.value)) {
        return waitName(waiting->reason);
    }
    static constexpr std::array<std::string_view, std::variant_size_v<DownloadState::Value>> names = {
        "queued",    "starting",  "downloading", "paused", "waiting",
        "verifying", "finishing", "finished",    "failed"};
    return names[state.value.index()];
}

} // namespace fluvane
