// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/SpeedLimiter.h"
#include "Fluvane/Linux/Transport/TransportOptions.h"
#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"

#include <memory>
#include <optional>

namespace fluvane {

class LoopPool;

/// HTTP transfers on threads of its own, one for each group that has some running. The engine calls on the
/// main queue and gets its events there. Transfers may outlive the transport: they then end without an event.
class SessionTransport final : public HTTPTransport {
public:
    /// The queue outlives the transport and its transfers.
    explicit SessionTransport(MainQueue& queue, TransportOptions options = {});
    /// Waits for writes under way: with a disk that hangs as long as that does. Who has to end in time bounds
    /// that.
    ~SessionTransport() override;

    [[nodiscard]] std::shared_ptr<Transfer> start(TransferRequest request, Events events) override;
    void setSpeedLimit(std::optional<std::int64_t> bytesPerSecond) override;

private:
    MainQueue& queue_;
    SpeedLimiter limiter_;
    std::unique_ptr<LoopPool> loops_;
};

} // namespace fluvane
