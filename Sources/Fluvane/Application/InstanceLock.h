// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarBase/Descriptor.h"

#include <chrono>
#include <string>

namespace fluvane {

/// Makes this process the only one that works on a data folder. The lock dies with the process, however it
/// ends; its file stays.
class InstanceLock {
public:
    enum class Outcome { taken, held, failed };

    /// Both in the data folder, which is created when missing.
    struct Files {
        std::string lock;
        std::string socket;
    };
    /// An instance that holds the lock without answering at its socket is just starting or ending: it is
    /// given up to `patience` to do so.
    InstanceLock(const Files& files, std::chrono::milliseconds patience);
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    [[nodiscard]] Outcome outcome() const { return outcome_; }
    /// Whether whoever held it has ended meanwhile, and it is ours now.
    [[nodiscard]] bool tryAgain();
    /// Another instance may begin, though this process can't end yet. From any thread.
    void release();
    /// The system's text for a failure.
    [[nodiscard]] const std::string& problem() const { return problem_; }

private:
    [[nodiscard]] bool open(const std::string& lockFile);
    [[nodiscard]] Outcome tryLock();
    Outcome fail();

    tessivar::Descriptor file_;
    Outcome outcome_;
    std::string problem_;
};

} // namespace fluvane
