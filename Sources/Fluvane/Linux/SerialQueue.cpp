// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/SerialQueue.h"

#include "Fluvane/Linux/ThreadName.h"

#include <utility>

namespace fluvane {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void SerialQueue::async(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
    changed_.notify_all();
}

void SerialQueue::run() {
    nameThread(label_);
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return !work_.empty() || ending_; });
        if (work_.empty()) {
            return;
        }
        auto work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
        work = nullptr; // what it holds is let go outside the lock
        lock.lock();
    }
}

} // namespace fluvane
