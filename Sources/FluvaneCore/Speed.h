// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <optional>

namespace fluvane {

/// A growing byte count turned into a smoothed speed. Times are seconds of any monotonic clock.
struct SpeedMeter {
    double halfLife = 3.0; ///< Seconds after which an old rate has lost half of its weight.
    double settle = 3.0;   ///< Seconds after the first sample before a time left is given.
    std::optional<double> lastTime;
    std::int64_t lastTotal = 0;
    std::optional<double> started;
    double smoothed = 0; ///< Bytes per second.

    void add(std::int64_t total, double at);
    [[nodiscard]] double bytesPerSecond() const { return smoothed; }
    [[nodiscard]] std::optional<double> secondsLeft(std::int64_t remaining, double at) const;
    void reset() { *this = SpeedMeter(); }
};

/// The delay before a retry, in seconds: doubled each time, jittered down to half.
struct Backoff {
    double base = 1;
    double limit = 60;

    /// `random` is drawn uniformly from 0 to 1 by the caller.
    [[nodiscard]] double delay(int attempt, double random) const;
};

/// Holds an average rate: take the bytes just received, then wait for the time it answers.
/// Not safe for concurrent use.
struct TokenBucket {
    double rate;  ///< Bytes per second.
    double burst; ///< Capacity in bytes.
    double tokens;
    std::optional<double> last;

    explicit TokenBucket(double bytesPerSecond, std::optional<double> capacity = std::nullopt);
    /// Seconds the caller must wait before going on; 0 when the bucket isn't in debt.
    [[nodiscard]] double take(std::int64_t bytes, double at);
};

} // namespace fluvane
