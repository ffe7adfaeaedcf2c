// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Date.h"
#include "FluvaneEngine/Download.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// The whole list at a glance.
struct TrayStatus {
    enum class Kind {
        idle, ///< Nothing to do.
        running,
        paused,        ///< All that is left was paused by the user.
        waiting,       ///< For the network, another try, its turn.
        needsAttention ///< Something that only the user can put right; others may run meanwhile.
    };
    Kind kind = Kind::idle;
    bool isRunning = false;
    std::optional<double> progress; ///< Of what runs, 0 to 1; absent when unknown.
    std::string toolTip;            ///< "2 downloads, 12 MB/s, about 3 minutes left"

    friend bool operator==(const TrayStatus&, const TrayStatus&) = default;
};

/// Failures, expired links and files that aren't what their checksum describes, until the user has seen them.
/// Failures of earlier runs are old news.
class TrayProblems {
public:
    /// When this run began.
    explicit TrayProblems(Date start) : start_(start) {}

    /// Takes the list as it is now and answers what the user hasn't seen yet, in its order.
    std::vector<const Download*> follow(const std::vector<const Download*>& downloads);
    /// The user looks at the list as it was taken last. What goes wrong again later is news again.
    void seen();

private:
    enum class Problem { none, failed, linkExpired, mismatch };
    [[nodiscard]] static Problem problemOf(const Download& download);
    [[nodiscard]] bool isOldNews(const Download& download, Problem problem) const;

    struct Known {
        Problem problem;
        bool seen;
    };
    Date start_;
    std::map<DownloadID, Known> known_; ///< By number.
};

/// What the tray tells of; for the length of a call.
struct TrayList {
    const std::vector<const Download*>& downloads;
    const std::vector<const Download*>& problems; ///< Those of them that need attention.
};
[[nodiscard]] TrayStatus trayStatus(const TrayList& list);

} // namespace fluvane
