// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/WorkLanes.h"

#include "Fluvane/Linux/ThreadName.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace fluvane {

struct WorkLanes::Lanes : std::enable_shared_from_this<Lanes> {
    using Waiting = std::map<std::uint64_t, std::deque<std::function<void()>>>;

    Waiting::iterator open(std::uint64_t key);
    void run(std::uint64_t key);
    [[nodiscard]] bool isDone() const { return unfinished == 0; }

    std::string label;
    std::mutex mutex; ///< For all below.
    std::condition_variable done;
    Waiting waiting;            ///< One for each thread.
    std::size_t unfinished = 0; ///< Work waiting or running.
};

WorkLanes::WorkLanes(std::string label) : lanes_(std::make_shared<Lanes>()) {
    lanes_->label = std::move(label);
}

WorkLanes::~WorkLanes() {
    std::unique_lock lock(lanes_->mutex);
    lanes_->done.wait(lock, [this] { return lanes_->isDone(); });
}

void WorkLanes::async(std::uint64_t key, std::function<void()> work) {
    const std::lock_guard lock(lanes_->mutex);
    auto lane = lanes_->waiting.find(key);
    if (lane == lanes_->waiting.end()) {
        lane = lanes_->open(key);
    }
    lane->second.push_back(std::move(work));
    ++lanes_->unfinished;
}

/// Where no thread can be had, another key's has to do.
WorkLanes::Lanes::Waiting::iterator WorkLanes::Lanes::open(std::uint64_t key) {
    try {
        std::thread([lanes = shared_from_this(), key] { lanes->run(key); }).detach(); // waits for the lock
    } catch (const std::system_error&) {
        if (waiting.empty()) {
            throw;
        }
        return waiting.begin();
    }
    return waiting.try_emplace(key).first;
}

void WorkLanes::Lanes::run(std::uint64_t key) {
    nameThread(label);
    std::unique_lock lock(mutex);
    const auto lane = waiting.find(key);
    while (!lane->second.empty()) {
        auto work = std::move(lane->second.front());
        lane->second.pop_front();
        lock.unlock();
        work();
        work = nullptr; // what it holds is let go outside the lock
        lock.lock();
        --unfinished;
        if (isDone()) {
            done.notify_all();
        }
    }
    waiting.erase(lane);
}

} // namespace fluvane
