// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

namespace tessivar {

/// Records when the main thread works on one thing for so long that the application doesn't answer: a report
/// with the main thread's stack, once per hang, and how long it lasted when it recovers.
///
/// The main thread marks what it does; nothing is polled. A watcher thread sleeps while the main thread is
/// idle and looks at it a few times per `limit` while it works. Time in which the machine sleeps or the
/// process is stopped (a debugger, SIGSTOP) doesn't count.
class HangWatch {
public:
    struct Options {
        std::filesystem::path folder; ///< Of the reports, the same as CrashHandler's; created when missing.
        std::chrono::milliseconds limit{5000};
        /// Called on the watcher's thread, when a hang is recorded and when it is over; for tests and logs.
        std::function<void()> hung = {};
        std::function<void(std::chrono::milliseconds lasted)> recovered = {};
    };

    explicit HangWatch(Options options);
    /// Stops.
    ~HangWatch();
    HangWatch(const HangWatch&) = delete;
    HangWatch& operator=(const HangWatch&) = delete;

    /// Watches the calling thread, which is the main thread, from now on: as busy, until it is marked idle.
    /// Takes SIGURG for reading that thread's stack. Without the system's means (no thread, no timer) there
    /// is one line in the log and no watch.
    void start() noexcept;
    /// From the main thread.
    void stop() noexcept;

    /// The main thread starts on something new (an event, a step of an event that ran others within), or
    /// waits for work. Two atomic stores; from any other thread they do nothing.
    void busy() noexcept;
    void idle() noexcept;

    /// Marks the handling of one event, which may run others within.
    class Work {
    public:
        explicit Work(HangWatch& watch) noexcept : watch_(watch) { watch_.enter(); }
        ~Work() { watch_.leave(); }
        Work(const Work&) = delete;
        Work& operator=(const Work&) = delete;

    private:
        HangWatch& watch_;
    };

private:
    struct State;
    void enter() noexcept;
    void leave() noexcept;
    std::unique_ptr<State> state_;
};

} // namespace tessivar
