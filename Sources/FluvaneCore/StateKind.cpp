// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/StateKind.h"

namespace fluvane {

bool runs(StateKind state) {
    switch (state) {
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::verifying:
    case StateKind::finishing:
        return true;
    case StateKind::queued:
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool needsAttention(StateKind state) {
    switch (state) {
    case StateKind::linkExpired:
    case StateKind::failed:
        return true;
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::paused:
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

} // namespace fluvane
