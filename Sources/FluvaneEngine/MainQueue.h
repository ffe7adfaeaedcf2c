// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>

namespace fluvane {

/// The engine's context as the platform layer sees it.
class MainQueue {
public:
    virtual ~MainQueue() = default;
    /// Runs the work on the main queue, later, in the order of the calls. From any thread.
    virtual void post(std::function<void()> work) = 0;
};

} // namespace fluvane
