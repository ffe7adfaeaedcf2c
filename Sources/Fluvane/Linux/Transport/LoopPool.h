// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/SpeedLimiter.h"
#include "Fluvane/Linux/Transport/TransferLoop.h"
#include "Fluvane/Linux/Transport/TransportOptions.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace fluvane {

/// The threads of a transport: a disk holds up the thread that writes to it, so each group has one to itself
/// while it has transfers. Groups that come later get what others have given back, with the connections that
/// are still open there. On the main queue.
class LoopPool {
public:
    static constexpr std::size_t most = 32; ///< With more groups at once, some share.
    static constexpr std::size_t mostSpare = 4;

    /// The limiter outlives the pool.
    LoopPool(TransportOptions options, SpeedLimiter& limiter)
        : options_(std::move(options)), limiter_(limiter) {}
    ~LoopPool();
    LoopPool(const LoopPool&) = delete;
    LoopPool& operator=(const LoopPool&) = delete;

    /// The one that is to begin the group's next transfer, now.
    [[nodiscard]] TransferLoop& loopFor(std::int64_t group);
    /// Has all threads look at their transfers again.
    void wake();

private:
    using Loops = std::vector<std::unique_ptr<TransferLoop>>;
    void takeBack();
    void endSpare();

    const TransportOptions options_;
    SpeedLimiter& limiter_;
    Loops taken_;
    Loops spare_; ///< Given back last: at the end.
};

} // namespace fluvane
