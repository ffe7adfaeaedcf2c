// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace fluvane {

/// Serial work on a lane for each key: work of one key runs in order, work of different keys at once. A lane
/// is a thread that lives for as long as there is work of its key, so that what hangs holds up its own lane
/// only.
class WorkLanes {
public:
    /// The label names the threads.
    explicit WorkLanes(std::string label);
    /// Returns once all work is done, hence never while some hangs. Not from a lane.
    ~WorkLanes();
    WorkLanes(const WorkLanes&) = delete;
    WorkLanes& operator=(const WorkLanes&) = delete;

    /// From any thread. What the work holds is let go on its lane. Where no thread can be had, another key's
    /// does it; throws std::system_error when there is none, either.
    void async(std::uint64_t key, std::function<void()> work);

private:
    struct Lanes;

    std::shared_ptr<Lanes> lanes_; ///< Shared with the threads, which end by themselves.
};

} // namespace fluvane
