// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <csignal>
#include <filesystem>

namespace tessivar {

/// Leaves a report when the process crashes: by a fatal signal, by abort(), or by an exception that nobody
/// catches. The report is small text: what happened, and a stack of module names, offsets and build ids. It
/// never holds contents of memory, arguments, the environment, names of files of the user's, or the text of
/// an exception. The signal then takes its default course, so the system's core dump is made as without us.
///
/// Process-wide by nature, as signals are.
class CrashHandler {
public:
    /// From the main thread, after AppIdentity is set and before other threads start. Reports go into the
    /// folder, which is created (0700) when missing; of older ones the newest few are kept. Crashes are
    /// handled even when the folder can't be had; then there is just no report. Never throws; logs.
    static void install(const std::filesystem::path& folder) noexcept;

    /// A few words for the report on why abort() is about to be called. Must be a text of the program's own
    /// and live for ever. From any thread; the last one before the crash counts.
    static void noteReason(const char* reason) noexcept;

    /// What a thread that leaves signals to others may block: a fault while its signal is blocked ends the
    /// process past every handler.
    [[nodiscard]] static sigset_t signalsOfOthers() noexcept;

    /// Room for the handler on the calling thread, so that a stack overflow there leaves a report too (other
    /// crashes do without). The main thread has its own from install(). Lives and ends on that thread.
    class ThreadStack {
    public:
        ThreadStack() noexcept;
        ~ThreadStack();
        ThreadStack(const ThreadStack&) = delete;
        ThreadStack& operator=(const ThreadStack&) = delete;

    private:
        void* memory_ = nullptr;
        void* before_ = nullptr;
        std::size_t beforeSize_ = 0;
        int beforeFlags_ = 0;
    };
};

} // namespace tessivar
