// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/TransferInbox.h"

#include <utility>

namespace fluvane {

void TransferInbox::begin(std::shared_ptr<TransferState> transfer) {
    const std::lock_guard lock(mutex_);
    starting_.push_back(std::move(transfer));
    wakeLocked();
}

void TransferInbox::wake() {
    const std::lock_guard lock(mutex_);
    wakeLocked();
}

void TransferInbox::close() {
    const std::lock_guard lock(mutex_);
    wakeLocked();
    closed_ = true;
}

std::optional<TransferInbox::Transfers> TransferInbox::take() {
    const std::lock_guard lock(mutex_);
    woken_ = false;
    if (closed_) {
        return std::nullopt;
    }
    return std::exchange(starting_, {});
}

void TransferInbox::wakeLocked() {
    if (!closed_ && !woken_) {
        woken_ = true;
        wake_();
    }
}

} // namespace fluvane
