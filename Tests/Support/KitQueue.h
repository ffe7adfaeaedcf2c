// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Support/TestQueue.h"
#include "Tessivar/MainContext.h"

#include <utility>
#include <vector>

namespace fluvane::support {

/// A main queue whose timers go off when the test says so.
struct KitQueue {
    TestQueue queue;
    std::vector<std::pair<double, std::function<void()>>> timers; ///< Delays in seconds, and what then.

    [[nodiscard]] tessivar::MainContext context() {
        return {
            .post = [this](std::function<void()> work) { queue.post(std::move(work)); },
            .after = [this](double seconds,
                            std::function<void()> work) { timers.emplace_back(seconds, std::move(work)); }};
    }
    void fireTimers() {
        for (const auto& [seconds, work] : std::exchange(timers, {})) {
            work();
        }
    }
};

} // namespace fluvane::support
