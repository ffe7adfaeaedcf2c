// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"

#include <functional>
#include <memory>

namespace fluvane {

/// Tells of the machine's going to sleep and waking. Sleep waits for us, though not for long: the login
/// manager gives everybody together some 5 s. For the main thread, where both handlers are called.
class SleepWatch {
public:
    /// To be called once, on the main thread, when the machine may sleep as far as we are concerned; harmless
    /// when it comes too late, or after the watch has ended.
    using Done = std::function<void()>;

    /// The bus must outlive it. `woke` follows each `aboutToSleep`, also when the sleep was called off or
    /// `done` never came.
    SleepWatch(Bus& system, std::function<void(Done done)> aboutToSleep, std::function<void()> woke);
    ~SleepWatch();
    SleepWatch(const SleepWatch&) = delete;
    SleepWatch& operator=(const SleepWatch&) = delete;

private:
    class Watcher;
    std::unique_ptr<Watcher> watcher_;
};

} // namespace fluvane
