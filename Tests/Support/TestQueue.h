// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/MainQueue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

namespace fluvane::support {

/// A main queue that the test's own thread drains.
class TestQueue final : public MainQueue {
public:
    using Seconds = std::chrono::duration<double>;

    void post(std::function<void()> work) override {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
        changed_.notify_all();
    }

    /// Runs work as it comes until the condition holds; false if it didn't in time.
    bool runUntil(const std::function<bool()>& condition, Seconds limit = Seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!condition()) {
            std::unique_lock lock(mutex_);
            if (!changed_.wait_until(lock, deadline, [this] { return !work_.empty(); })) {
                return false;
            }
            const auto work = std::exchange(work_, {});
            lock.unlock();
            for (const auto& piece : work) {
                piece();
            }
        }
        return true;
    }
    /// Runs what is there.
    void runPending() {
        bool ran = false;
        post([&] { ran = true; });
        runUntil([&] { return ran; });
    }
    /// Waits until something is posted, without running it.
    bool waitForWork(Seconds limit = Seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [this] { return !work_.empty(); });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> work_;
};

} // namespace fluvane::support
