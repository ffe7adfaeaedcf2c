// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <deque>
#include <optional>

namespace fluvane {

/// How fast one connection is, and for how long nothing came over it. Times are the scheduler's seconds.
class Pace {
public:
    explicit Pace(double opened = 0) : opened_(opened), lastByte_(opened) {}

    /// `reached` being the offset that it has written up to; absent before the body flows.
    void note(std::optional<std::int64_t> reached, double now);
    /// Whether it is much slower than the others just now.
    void noteSlow(bool isSlow, double now);

    /// Bytes per second over the last seconds; absent until it was watched for long enough.
    [[nodiscard]] std::optional<double> speed() const;
    [[nodiscard]] double age(double now) const { return now - opened_; }
    [[nodiscard]] double silence(double now) const { return now - lastByte_; }
    [[nodiscard]] double slowFor(double now) const { return slowSince_ ? now - *slowSince_ : 0; }

private:
    struct Sample {
        double time;
        std::int64_t reached;
    };
    double opened_;
    double lastByte_;
    std::optional<double> slowSince_;
    std::deque<Sample> samples_;
};

} // namespace fluvane
