// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Speed.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace fluvane {

/// The user's overall speed limit, shared by all transfers of a transport. Every call from any thread.
class SpeedLimiter {
public:
    /// Bytes per second, at least 1; absent: unlimited. A new limit starts with a quarter of a second's worth
    /// (at least 64 KiB) to spend at once; the limit in force given again changes nothing.
    void setLimit(std::optional<std::int64_t> bytesPerSecond);

    /// Takes the bytes just received; the seconds to wait before receiving more, 0 without a limit.
    [[nodiscard]] double wait(std::int64_t after);
    /// How many bytes a transfer receives before it heeds a wait: the same for all, so that they share the
    /// limit evenly, and small enough that the sum keeps to it.
    [[nodiscard]] std::int64_t stretch() const;
    /// Grows with every change of the limit: a wait answered under an older number is void.
    [[nodiscard]] std::uint64_t generation() const;
    /// Bytes that may be received at once after a rest; absent without a limit.
    [[nodiscard]] std::optional<double> capacity() const;

private:
    mutable std::mutex mutex_;
    std::optional<std::int64_t> limit_;
    std::optional<TokenBucket> bucket_;
    std::uint64_t generation_ = 0;
};

} // namespace fluvane
