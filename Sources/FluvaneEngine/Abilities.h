// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <string_view>

namespace fluvane {

// What a download's state means. Whoever wants to know asks here, the manager too: it ignores every command
// that these say no to.

/// Whether something is done for it now: one that waits for another try takes a slot, but doesn't run.
[[nodiscard]] bool runs(const DownloadState& state);
/// Whether only a person can put right what happened: it failed, its link expired, or its file isn't the one
/// that was meant.
[[nodiscard]] bool needsAttention(const DownloadRecord& record);
[[nodiscard]] bool canPause(const DownloadState& state);
/// Whether it can carry on, or try again. One that is tried again by itself anyway can't.
[[nodiscard]] bool canResume(const DownloadState& state);
/// Whether it carries on when all are told to: what failed, and what nothing can be done about now, isn't
/// among them.
[[nodiscard]] bool resumesWithAll(const DownloadState& state);
/// Whether it is held back where there is no network that it may use.
[[nodiscard]] bool wantsNetwork(const DownloadState& state);
/// Whether a fresh link makes it start again.
[[nodiscard]] bool startsWithNewLink(const DownloadState& state);
/// Whether it can be put at the front of the line.
[[nodiscard]] bool canBeNext(const DownloadState& state);
/// Whether it can start now, past the line.
[[nodiscard]] bool canGoFirst(const DownloadState& state);

/// What a person is offered to do with a download as it stands.
struct Abilities {
    bool pause = false;
    bool resume = false;
    bool tryAgain = false;       ///< The resume of one that failed or whose link was refused.
    bool downloadAnyway = false; ///< The resume of one that a metered connection holds back.
    bool next = false;
    bool prioritize = false;
    bool stopPrioritizing = false;
    bool changeLink = false;
    bool move = false;       ///< To another folder, or to get another name.
    bool stopMoving = false; ///< Its file is on the way to another disk, which takes a while.
    bool open = false;       ///< It has a finished file, which may have been moved since.
    bool show = false;       ///< There is a file to show in its folder, finished or not.
    bool removeFile = false; ///< Apart from taking it off the list, which is always possible.
    bool losesBytes = false; ///< Taking it off the list deletes what was downloaded so far.

    /// What the command that carries on with it is called: "Resume", "Try Again" or "Download Anyway".
    [[nodiscard]] std::string_view resumeLabel() const;

    friend bool operator==(const Abilities&, const Abilities&) = default;
};

/// Its link can be copied, its checksum changed, and it can be taken off the list, in any state.
[[nodiscard]] Abilities abilities(const Download& download);

} // namespace fluvane
