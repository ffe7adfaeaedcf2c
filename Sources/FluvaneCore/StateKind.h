// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

namespace fluvane {

/// What a download does, without what belongs to it: every reason to wait is a state of its own.
enum class StateKind {
    queued,
    starting,
    downloading,
    paused,
    offline,
    retrying,
    linkExpired,
    limitedNetwork,
    space, ///< Waits for room on the disk.
    verifying,
    finishing,
    finished,
    failed
};

/// Whether something is done for it now: one that waits for another try takes a slot, but doesn't run.
[[nodiscard]] bool runs(StateKind state);
/// Whether it gets no further unless somebody sees to it. Pausing it was somebody's wish, so that doesn't
/// count.
[[nodiscard]] bool needsAttention(StateKind state);

} // namespace fluvane
