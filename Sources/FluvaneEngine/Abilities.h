// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <string_view>

namespace fluvane {

/// Whether something is done for it now: one that waits for another try takes a slot, but doesn't run.
[[nodiscard]] bool runs(const DownloadState& state);
/// Whether it can be put at the front of the line.
[[nodiscard]] bool canBeNext(const DownloadState& state);
/// Whether it can start now, past the line.
[[nodiscard]] bool canGoFirst(const DownloadState& state);

/// What a person can do with a download as it stands. Windows, menus and commands ask here; the manager
/// ignores everything else anyway.
struct Abilities {
    bool pause = false;
    bool resume = false;
    bool tryAgain = false;       ///< The resume of one that failed or whose link was refused.
    bool downloadAnyway = false; ///< The resume of one that a hotspot or a low-data network holds back.
    bool next = false;
    bool prioritize = false;
    bool stopPrioritizing = false;
    bool changeLink = false;
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
