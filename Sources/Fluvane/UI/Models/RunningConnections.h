// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Speed.h"
#include "FluvaneEngine/Download.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace fluvane {

/// One connection of a running download, as it is shown. Offsets in bytes.
struct RunningConnection {
    int number = 0; ///< From 1; the lowest that was free when it was first seen, and kept while it runs.
    std::int64_t start = 0;          ///< Of its piece.
    std::optional<std::int64_t> end; ///< Of its piece, exclusive; absent when the stream's length is unknown.
    std::int64_t from = 0;           ///< Where its own bytes begin.
    std::int64_t reached = 0;        ///< Where its next byte goes.
    bool flows = false;              ///< Its bytes have begun to arrive.
    double speed = 0;                ///< Bytes per second, smoothed.
    friend bool operator==(const RunningConnection&, const RunningConnection&) = default;
};

/// The connections of one download with their speeds, which come of looking again and again: what isn't
/// looked at costs nothing.
class RunningConnections {
public:
    /// `now` in seconds of a monotonic clock.
    void look(const Download& download, double now);
    /// In the order of their numbers.
    [[nodiscard]] const std::vector<RunningConnection>& list() const { return list_; }

private:
    struct Known {
        int number = 0;
        SpeedMeter meter;
    };
    void forgetEnded(const Download& download);
    [[nodiscard]] int freeNumber() const;
    Known& known(Token token);

    std::optional<DownloadID> id_;
    std::map<Token, Known> known_; ///< By the transfer's token.
    std::vector<RunningConnection> list_;
};

} // namespace fluvane
