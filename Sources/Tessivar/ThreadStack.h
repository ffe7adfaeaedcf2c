// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/ReportWriter.h"

#include <csignal>

#include <sys/types.h>

namespace tessivar {

/// The stack of another thread, read by a signal to it. One at a time in a process, as SIGURG is used for it:
/// by default that is ignored, so one that comes too late does no harm.
class ThreadStackReader {
public:
    /// Of the calling thread. Until the destructor, which belongs to that thread too.
    ThreadStackReader();
    ~ThreadStackReader();
    ThreadStackReader(const ThreadStackReader&) = delete;
    ThreadStackReader& operator=(const ThreadStackReader&) = delete;

    /// From another thread. Null when the thread doesn't answer within a second or two, as in the midst of a
    /// system call that can't be interrupted. Good until the next call.
    const StackTrace* read();

    /// The thread's state as the kernel has it: 'R' running, 'S' sleeping, 'D' not to be interrupted, 'T' and
    /// 't' stopped; '?' when it can't be told.
    [[nodiscard]] char state() const;

private:
    pid_t thread_;
    struct sigaction before_ {};
};

} // namespace tessivar
