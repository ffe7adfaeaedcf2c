// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/TransferState.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace fluvane {

/// The way from the engine to a transfer thread. Outlives the thread, so that a transfer may still be
/// called when its transport is gone. Every call from any thread.
class TransferInbox {
public:
    using Transfers = std::vector<std::shared_ptr<TransferState>>;

    /// `wake` ends the thread's waiting; it isn't called after `close`.
    explicit TransferInbox(std::function<void()> wake) : wake_(std::move(wake)) {}

    void begin(std::shared_ptr<TransferState> transfer);
    /// Has the thread look at its transfers again.
    void wake();
    void close();
    /// The transfers to begin; absent once closed.
    [[nodiscard]] std::optional<Transfers> take();

private:
    void wakeLocked();

    std::mutex mutex_;
    std::function<void()> wake_;
    Transfers starting_;
    bool woken_ = false; ///< And not yet looked: no need to wake again.
    bool closed_ = false;
};

} // namespace fluvane
