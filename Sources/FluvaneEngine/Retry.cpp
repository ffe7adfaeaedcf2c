// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Retry.h"

#include <utility>

namespace fluvane {

void Retry::begin() {
    lookUntil_ = 0;
    failures_ = 0;
    offlineFailures_ = 0;
}

void Retry::count(bool offline, std::int64_t bytes, std::int64_t goodStretch) {
    if (bytes - bytesAtFailure_ >= goodStretch) {
        begin();
    }
    bytesAtFailure_ = bytes;
    ++(offline ? offlineFailures_ : failures_);
}

void Retry::schedule(std::shared_ptr<Cancellable> timer, double at, std::optional<std::string> server) {
    timer_ = std::move(timer);
    at_ = at;
    server_ = std::move(server);
}

void Retry::cancel() {
    if (timer_) {
        std::exchange(timer_, nullptr)->cancel();
    }
}

} // namespace fluvane
