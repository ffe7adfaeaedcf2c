// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/SessionTransport.h"

#include "Fluvane/Linux/Transport/SessionTransfer.h"
#include "Fluvane/Linux/Transport/TransferLoop.h"

#include <utility>

namespace fluvane {

SessionTransport::SessionTransport(MainQueue& queue, TransportOptions options)
    : queue_(queue), loop_(std::make_unique<TransferLoop>(std::move(options), limiter_)) {}

SessionTransport::~SessionTransport() = default;

std::shared_ptr<Transfer> SessionTransport::start(TransferRequest request, Events events) {
    auto state = std::make_shared<TransferState>(std::move(request), std::move(events), queue_);
    loop_->begin(state);
    return std::make_shared<SessionTransfer>(std::move(state), loop_->inbox());
}

void SessionTransport::setSpeedLimit(std::optional<std::int64_t> bytesPerSecond) {
    limiter_.setLimit(bytesPerSecond);
    loop_->inbox()->wake(); // transfers asleep on the old limit
}

} // namespace fluvane
