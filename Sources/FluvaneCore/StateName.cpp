// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/StateName.h"

namespace fluvane {

std::string_view stateName(StateKind state) {
    switch (state) {
    case StateKind::queued:
        return "queued";
    case StateKind::starting:
        return "starting";
    case StateKind::downloading:
        return "downloading";
    case StateKind::paused:
        return "paused";
    case StateKind::offline:
        return "offline";
    case StateKind::retrying:
        return "retrying";
    case StateKind::linkExpired:
        return "link-expired";
    case StateKind::limitedNetwork:
        return "limited-network";
    case StateKind::space:
        return "no-space";
    case StateKind::verifying:
        return "verifying";
    case StateKind::finishing:
        return "finishing";
    case StateKind::finished:
        return "finished";
    case StateKind::failed:
        return "failed";
    }
    return "";
}

std::optional<StateKind> stateNamed(std::string_view name) {
    for (auto kind = StateKind::queued;; kind = static_cast<StateKind>(static_cast<int>(kind) + 1)) {
        if (stateName(kind) == name) {
            return kind;
        }
        if (kind == StateKind::failed) {
            return std::nullopt;
        }
    }
}

} // namespace fluvane
