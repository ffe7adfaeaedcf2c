// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace fluvane {

/// How many connections a download aims for: doubled while that makes it faster and costs the others nothing.
/// Fed with samples, it answers what to do; it opens and closes nothing.
class Growth {
public:
    struct Sample {
        double time;                   ///< The scheduler's seconds.
        std::int64_t bytes;            ///< That the download has so far.
        std::int64_t receivedByOthers; ///< Bytes, a running total of the other downloads.
    };
    struct Limits {
        int cap;            ///< The most connections that are allowed.
        bool isPrioritized; ///< It may take speed from the others.
    };
    struct Stay {};
    struct Step {
        int from;
        double rate; ///< Bytes per second with `from`.
    };
    struct Back {
        int from;
        double rate; ///< With `from`.
        double rateBefore;
        bool tookSpeed; ///< From the others; else it wasn't faster.
    };
    using Answer = std::variant<Stay, Step, Back>;

    [[nodiscard]] int target() const { return target_; }
    /// What it aims for under a cap.
    [[nodiscard]] int aim(int cap) const;
    [[nodiscard]] bool isGrowing() const { return growing_; }
    /// Whether there is anything left to measure under this cap.
    [[nodiscard]] bool hasReached(int cap) const { return target_ >= cap && !previous_; }

    /// A new run, from this number on.
    void begin(int target);
    /// What was measured means nothing anymore, and more connections may help: grows from where it is.
    void afresh();
    /// No further steps; a step that isn't judged yet stays.
    void stop();
    /// No more than this many, and no further steps.
    void cutBack(int target);
    /// What is being measured at the moment is disturbed: measures that again.
    void interrupt() { window_.clear(); }
    /// Whether a download that grows no further has become so much faster since it stopped that growing is
    /// worth another try. Fed like `feed`.
    [[nodiscard]] bool hasBecomeFaster(const Sample& sample, const Tuning& tuning);

    /// To be called only while all the connections that it aims for write. After a step `target` is the new
    /// number, after a step back the old one.
    [[nodiscard]] Answer feed(const Sample& sample, const Limits& limits, const Tuning& tuning);

private:
    struct Rates {
        double own; ///< Bytes per second.
        double others;
    };
    [[nodiscard]] std::optional<Rates> measure(const Sample& sample, double atLeast);
    [[nodiscard]] std::optional<Back> judge(const Rates& now, const Limits& limits, double gain) const;
    [[nodiscard]] Step step(const Rates& now, int cap);

    int target_ = 2;
    bool growing_ = true;
    std::optional<int> previous_;   ///< Before the step that isn't judged yet.
    std::optional<Rates> before_;   ///< With `previous_` connections.
    std::optional<double> settled_; ///< Bytes per second when a step back ended the growing.
    std::vector<Sample> window_;    ///< What is being measured, some per second.
};

} // namespace fluvane
