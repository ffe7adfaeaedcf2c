// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace fluvane {

/// What the engine and a transfer thread share of one transfer: where bytes go, and which events are
/// posted. Whoever ends it first under the lock posts the only end. The lock isn't held while the disk works.
class TransferState : public std::enable_shared_from_this<TransferState> {
public:
    /// The queue outlives every transfer.
    TransferState(TransferRequest request, HTTPTransport::Events events, MainQueue& queue);

    [[nodiscard]] const TransferRequest& request() const { return request_; }
    [[nodiscard]] bool isAccepted() const { return accepted_.load(std::memory_order_acquire); }
    [[nodiscard]] bool isOver() const { return over_.load(std::memory_order_acquire); }
    /// Over, and no write under way any more: it won't keep its thread again.
    [[nodiscard]] bool isDone() const {
        return isOver() && !writing_.load(std::memory_order_acquire) && (!cancelled_ || released_);
    }

    /// The engine's side, on the main queue; as in Transfer.
    void accept(std::shared_ptr<PieceFile> file, std::int64_t at, std::optional<std::int64_t> end);
    [[nodiscard]] std::int64_t position() const { return next_.load(std::memory_order_relaxed); }
    void setEnd(std::int64_t end);
    void cancel();

    /// The transfer thread's side.
    void respond(TransferResponse response);
    /// Writes what the transfer still wants of the bytes. Returns when the disk has taken them.
    void write(std::span<const std::byte> bytes);
    void finish();
    void fail(TransferError error);
    /// Ends it without an event.
    void abandon();
    /// The thread is rid of it: to end what was cancelled midway may take long as well.
    void release() { released_ = true; }

private:
    using Lock = std::unique_lock<std::mutex>;
    /// What is to be written without the lock.
    struct Write {
        std::shared_ptr<PieceFile> file;
        std::int64_t at;
        std::int64_t after; ///< Where it ends; at most where the transfer does.
    };

    [[nodiscard]] std::int64_t written() const { return position() - offset_; }
    [[nodiscard]] std::optional<Write> beginWrite(std::size_t most);
    [[nodiscard]] bool endWrite(Write write, const std::optional<TransferError>& error);
    void endWith(Lock& lock, std::optional<TransferEvent> event);
    void postProgress();
    void post(TransferEvent event);
    void deliver(const TransferEvent& event);

    const TransferRequest request_;
    MainQueue& queue_;
    std::shared_ptr<const HTTPTransport::Events>
        events_; ///< Main queue only; gone once nothing is delivered.

    mutable std::mutex mutex_; ///< Guards what follows; the atomic ones may be read without it.
    std::shared_ptr<PieceFile> file_;
    std::int64_t offset_ = 0;
    std::optional<std::int64_t> end_;
    std::atomic<std::int64_t> next_ = 0;
    std::atomic<bool> accepted_ = false;
    std::atomic<bool> over_ = false;
    std::atomic<bool> cancelled_ = false; ///< Before it ended by itself.
    std::atomic<bool> released_ = false;
    std::atomic<bool> writing_ = false; ///< Set only before it is over.
    std::atomic<bool> progressUnderway_ =
        false; ///< Posted and not delivered: a busy main queue gets no pile.
    double lastPost_ = -1;
};

} // namespace fluvane
