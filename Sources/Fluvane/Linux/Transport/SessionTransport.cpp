// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/SessionTransport.h"

#include "Fluvane/Linux/Transport/LoopPool.h"
#include "Fluvane/Linux/Transport/SessionTransfer.h"

#include <utility>

namespace fluvane {

SessionTransport::SessionTransport(MainQueue& queue, TransportOptions options)
    : queue_(queue), loops_(std::make_unique<LoopPool>(std::move(options), limiter_)) {}

SessionTransport::~SessionTransport() = default;

std::shared_ptr<Transfer> SessionTransport::start(TransferRequest request, Events events) {
    auto state = std::make_shared<TransferState>(std::move(request), std::move(events), queue_);
    auto& loop = loops_->loopFor(state->request().group);
    loop.begin(state);
    return std::make_shared<SessionTransfer>(std::move(state), loop.inbox());
}

void SessionTransport::setSpeedLimit(std::optional<std::int64_t> bytesPerSecond) {
    limiter_.setLimit(bytesPerSecond);
    loops_->wake(); // transfers asleep on the old limit
}

} // namespace fluvane
