// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"

#include <functional>
#include <memory>

namespace fluvane {

/// The engine's context and its timers on the Qt event loop of the thread that makes it, which must be the
/// main thread with a QCoreApplication. Everything but `post` is for that thread. Work never runs inside the
/// call that gives it; work that throws ends the program. What hasn't run when the scheduler ends is dropped
/// on that thread; no other thread may post by then.
class LinuxScheduler : public Scheduler, public MainQueue {
public:
    LinuxScheduler();
    ~LinuxScheduler() override;
    LinuxScheduler(const LinuxScheduler&) = delete;
    LinuxScheduler& operator=(const LinuxScheduler&) = delete;

    /// CLOCK_MONOTONIC: stands still while the machine sleeps.
    [[nodiscard]] double now() const override;
    /// Never early; a delay beyond any calendar, infinity included, is a timer that doesn't fire. Posts and
    /// delays of 0 or less run in the order in which they were given. Cancelling lets go of what the work
    /// holds.
    std::shared_ptr<Cancellable> after(double seconds, std::function<void()> work) override;
    /// Many posts between two turns of the loop cost it one event.
    void post(std::function<void()> work) override;

private:
    class Loop;
    class Task;
    std::shared_ptr<Loop> loop_;
};

} // namespace fluvane
