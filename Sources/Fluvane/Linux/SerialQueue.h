// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace fluvane {

/// A serial work queue on a thread of its own, started with the first work. Ends, once all its work is done,
/// in its destructor.
class SerialQueue {
public:
    /// The label names the thread.
    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// From any thread.
    void async(std::function<void()> work);

private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> work_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace fluvane
