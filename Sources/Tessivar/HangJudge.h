// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <cstdint>

namespace tessivar {

/// Decides from looks at the main thread whether it hangs: it does when several looks in a row, all of them
/// in time, find it at the same step. A look that comes late tells that the looking was held up as well, by a
/// stop of the process or a machine that has no time; then the count begins anew.
class HangJudge {
public:
    using Time = std::chrono::nanoseconds;

    struct Look {
        std::uint64_t step = 0; ///< What the main thread does; odd while it works.
        Time now{};             ///< On a clock that stands still while the machine sleeps.
        Time due{};             ///< When the look was to be.
        Time asleep{};          ///< How long the machine has slept since it started.
        bool stopped = false;   ///< By a debugger or a signal.
    };
    enum class Verdict { idle, working, hangs };

    static constexpr int looksPerLimit = 4;

    explicit HangJudge(Time limit) : interval_(limit / looksPerLimit) {}

    /// Between two looks.
    [[nodiscard]] Time interval() const { return interval_; }

    [[nodiscard]] Verdict at(const Look& look) {
        const bool same = look.step == step_;
        const bool inTime = look.now - look.due < interval_ / 2 && look.asleep - asleep_ < interval_ / 2;
        step_ = look.step;
        asleep_ = look.asleep;
        if (look.step % 2 == 0) {
            return Verdict::idle;
        }
        count_ = same && inTime && !look.stopped ? count_ + 1 : 0;
        return count_ >= looksPerLimit ? Verdict::hangs : Verdict::working;
    }

private:
    Time interval_;
    Time asleep_{};
    std::uint64_t step_ = 0;
    int count_ = 0;
};

} // namespace tessivar
