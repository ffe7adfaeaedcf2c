// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace tessivar {

/// A process that can be told from every other one, before and after a reboot, although numbers are reused.
struct RunID {
    pid_t pid = 0;
    std::uint64_t startTicks = 0; ///< When the process started, in clock ticks since the machine did.
    std::string bootID;           ///< The kernel's, 32 hexadecimal digits.

    /// This process. What the system doesn't tell stays 0 or empty.
    static RunID current();
    /// The one that name() is of.
    static std::optional<RunID> fromName(std::string_view name);

    /// Letters, digits and "-" only, for names of files.
    [[nodiscard]] std::string name() const;
    [[nodiscard]] bool isOfThisBoot() const;
    [[nodiscard]] bool isAlive() const;

    bool operator==(const RunID&) const = default;
};

} // namespace tessivar
