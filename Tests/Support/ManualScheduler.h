// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace fluvane::support {

/// A scheduler on simulated time: nothing runs but in `run…`, in order of time, then of scheduling.
class ManualScheduler : public Scheduler {
public:
    [[nodiscard]] double now() const override { return now_; }

    std::shared_ptr<Cancellable> after(double seconds, std::function<void()> work) override {
        auto task = std::make_shared<Task>(std::move(work));
        pending_.emplace(now_ + (seconds > 0 ? seconds : 0), task);
        return task;
    }

    /// Runs what is due now, and what that schedules for now; does nothing from within what it runs.
    void runTurns() {
        if (!running_) {
            runUntil(now_);
        }
    }
    /// As when the process is killed.
    void forget() { pending_.clear(); }
    void runFor(double seconds) { runUntil(now_ + seconds); }
    /// Runs until the condition holds; false when it doesn't within the time.
    [[nodiscard]] bool runUntilTrue(const std::function<bool()>& condition, double atMost = 3600) {
        const double deadline = now_ + atMost;
        while (!condition()) {
            if (pending_.empty() || pending_.begin()->first > deadline) {
                return false;
            }
            runNext();
        }
        return true;
    }

private:
    struct Task : Cancellable {
        explicit Task(std::function<void()> work_) : work(std::move(work_)) {}
        void cancel() override { work = nullptr; }
        std::function<void()> work;
    };

    void runNext() {
        const auto first = pending_.begin();
        now_ = std::max(now_, first->first);
        const auto task = first->second;
        pending_.erase(first);
        if (const auto work = std::exchange(task->work, nullptr)) {
            running_ = true;
            work();
            running_ = false;
        }
    }

    void runUntil(double time) {
        while (!pending_.empty() && pending_.begin()->first <= time) {
            runNext();
        }
        now_ = time;
    }

    double now_ = 1000;
    bool running_ = false;
    std::multimap<double, std::shared_ptr<Task>> pending_; // equal times keep the order of insertion
};

} // namespace fluvane::support
