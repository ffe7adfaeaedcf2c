// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/RunID.h"
#include "TessivarCore/AtomicFile.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace tessivar {

/// The record of the running and the previous run of the application: one small file in the state folder.
/// For the main thread of the one instance, since two would take each other for a crash. Nothing here throws:
/// what can't be read counts as absent, what can't be written is logged.
class LastRun {
public:
    enum class Ending {
        unknown,      ///< There was no run before, or its record can't be read.
        cleanly,      ///< end() was called.
        crashed,      ///< It left a crash report.
        hung,         ///< It was ended from outside while a recorded hang lasted.
        killed,       ///< It was ended from outside: nobody's crash.
        rebooted,     ///< The machine went down, or was started again, with it.
        stillRunning, ///< Its process is there yet.
    };

    struct Previous {
        Ending ending = Ending::unknown;
        std::string version;  ///< Empty when unknown.
        std::int64_t began{}; ///< Seconds since 1970; 0 when unknown.
    };

    /// The folder need not exist yet.
    explicit LastRun(const std::filesystem::path& folder);

    /// Records that this run begins, and tells how the one before ended; the log says it too.
    Previous begin() noexcept;
    /// Marks this run as ended cleanly. Does nothing when another run has begun since.
    void end() noexcept;

private:
    [[nodiscard]] Previous previous() const;
    void record(bool ended) const;

    std::filesystem::path folder_;
    AtomicFile file_;
    RunID run_;
    std::int64_t began_ = 0;
};

} // namespace tessivar
