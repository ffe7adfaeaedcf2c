// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace fluvane {

/// Bounds the end of the process: a thread that waits for a disk can be neither ended nor waited for.
class EndBound {
public:
    /// Unless it is gone by then, `expired` is called on a thread of its own; it is to end the process.
    EndBound(std::chrono::milliseconds patience, std::function<void()> expired);
    ~EndBound();
    EndBound(const EndBound&) = delete;
    EndBound& operator=(const EndBound&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOver_ = false;
    std::thread thread_;
};

} // namespace fluvane
