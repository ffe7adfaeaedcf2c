// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/ListFeed.h"
#include "FluvaneEngine/DownloadManager.h"

#include <QObject>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace fluvane {

/// The speeds of the downloads that run, over the last minutes: one sample a second for each, whether or not
/// anything is on screen. The feed drives it, so nothing ticks while nothing runs. The main queue's.
class SpeedHistory : public QObject {
    Q_OBJECT

public:
    static constexpr double interval = 1;    ///< Seconds between samples.
    static constexpr double length = 5 * 60; ///< Seconds that are kept.

    struct Sample {
        double time;  ///< Seconds of the clock.
        double speed; ///< Bytes per second.
        friend bool operator==(const Sample&, const Sample&) = default;
    };
    using Clock = std::function<double()>; ///< Seconds, monotonic.

    SpeedHistory(const DownloadManager& manager, ListFeed& feed, Clock clock = steadyClock());

    /// The one that belongs to the feed, begun now if nobody asked before. Asking at start-up makes a window
    /// that opens late show what went before.
    [[nodiscard]] static SpeedHistory& of(const DownloadManager& manager, ListFeed& feed);
    [[nodiscard]] static Clock steadyClock();
    [[nodiscard]] double now() const { return clock_(); }

    /// Oldest first; empty for a download that hasn't run within the kept time. Holds until the next turn.
    [[nodiscard]] const std::vector<Sample>& samples(DownloadID id) const;

private:
    void sample();
    void forget(double now);

    const DownloadManager& manager_;
    Clock clock_;
    std::optional<double> sampledAt_;
    std::map<DownloadID, std::vector<Sample>> samples_;
};

} // namespace fluvane
