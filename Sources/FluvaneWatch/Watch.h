// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneWatch/Listing.h"

#include <map>
#include <string>
#include <vector>

namespace fluvane::watch {

/// How a watched download stands.
enum class Standing {
    goingOn,    ///< Running, or going on by itself later: in line, offline, on a limited network.
    finished,   ///< And matched its checksum, if it has one.
    mismatched, ///< Finished, but it isn't the file that the checksum is of.
    unchecked,  ///< Finished, but the check that was asked for came to nothing.
    stopped,    ///< Failed, removed, or waiting for somebody: paused, link expired.
};

/// Which downloads are watched and how they came out, over one list after another. Reads no clock.
class Watch {
public:
    /// No numbers: everything that goes on, and what begins while it is watched.
    explicit Watch(const std::vector<DownloadID>& numbers);

    /// Takes in the next list. `now` is in seconds of a monotonic clock.
    void update(const std::vector<Row>& list, double now);

    /// Wanted numbers that have never been on a list.
    [[nodiscard]] std::vector<DownloadID> unknown() const;
    /// In the order asked for, or of the list.
    [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
    [[nodiscard]] Standing standing(const Row& row) const;
    [[nodiscard]] bool ended() const;
    [[nodiscard]] bool allFinished() const;
    /// A sentence for every download that ended otherwise than finished and matching.
    [[nodiscard]] std::vector<std::string> problems() const;

private:
    void follow(const std::vector<Row>& list);
    void waitForChecks(double now);

    bool everything_;
    std::vector<DownloadID> numbers_;
    std::vector<Row> rows_;
    double now_ = 0;
    std::map<DownloadID, double> checkUntil_; ///< When the check of a finished file is given up.
};

} // namespace fluvane::watch
