// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/TransferState.h"

#include "Fluvane/Linux/Transport/TransferErrors.h"
#include "Fluvane/Linux/Transport/Uptime.h"
#include "FluvaneCore/CheckedMath.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace fluvane {

namespace {

constexpr double progressInterval = 0.25;

bool isEnd(const TransferEvent& event) {
    return std::holds_alternative<TransferEvent::Finished>(event.value) ||
           std::holds_alternative<TransferEvent::Failed>(event.value);
}

} // namespace

TransferState::TransferState(TransferRequest request, HTTPTransport::Events events, MainQueue& queue)
    : request_(std::move(request)), queue_(queue),
      events_(std::make_shared<const HTTPTransport::Events>(std::move(events))) {}

void TransferState::accept(std::shared_ptr<PieceFile> file, std::int64_t at,
                           std::optional<std::int64_t> end) {
    Lock lock(mutex_);
    if (over_ || accepted_) {
        return;
    }
    file_ = std::move(file);
    offset_ = at;
    end_ = end;
    next_ = at;
    accepted_ = true;
    if (end_ && at >= *end_) {
        endWith(lock, TransferEvent{TransferEvent::Finished{0}});
    }
}

void TransferState::setEnd(std::int64_t end) {
    Lock lock(mutex_);
    end_ = end;
    if (accepted_ && !over_ && next_ >= end) {
        endWith(lock, TransferEvent{TransferEvent::Finished{written()}});
    }
}

void TransferState::cancel() {
    events_ = nullptr;
    abandon();
}

void TransferState::abandon() {
    Lock lock(mutex_);
    endWith(lock, std::nullopt);
}

void TransferState::respond(TransferResponse response) {
    const Lock lock(mutex_);
    if (!over_) {
        post({std::move(response)});
    }
}

void TransferState::write(std::span<const std::byte> bytes) {
    Lock lock(mutex_);
    if (over_ || !file_) {
        return;
    }
    const std::int64_t next = next_;
    auto kept = static_cast<std::int64_t>(bytes.size());
    if (end_) {
        kept = std::min(kept, *end_ - next);
    }
    const std::int64_t after = checkedAdd(next, kept);
    try {
        file_->write(bytes.first(static_cast<std::size_t>(kept)), next);
    } catch (const std::exception& error) {
        endWith(lock, TransferEvent{TransferEvent::Failed{
                          {transferText::couldNotWrite + std::string(error.what())}, written()}});
        return;
    }
    next_ = after;
    if (end_ && after >= *end_) {
        endWith(lock, TransferEvent{TransferEvent::Finished{written()}});
    } else {
        postProgress();
    }
}

void TransferState::finish() {
    Lock lock(mutex_);
    if (!over_) {
        endWith(lock, TransferEvent{TransferEvent::Finished{written()}});
    }
}

void TransferState::fail(TransferError error) {
    Lock lock(mutex_);
    if (!over_) {
        endWith(lock, TransferEvent{TransferEvent::Failed{std::move(error), written()}});
    }
}

void TransferState::endWith(Lock& lock, std::optional<TransferEvent> event) {
    over_ = true;
    const auto file = std::move(file_); // let go after the lock: the last one closes it
    if (event) {
        post(std::move(*event));
    }
    lock.unlock();
}

void TransferState::postProgress() {
    const double now = uptime();
    if (now - lastPost_ < progressInterval || progressUnderway_.exchange(true)) {
        return;
    }
    lastPost_ = now;
    post({TransferEvent::Progress{written()}});
}

void TransferState::post(TransferEvent event) {
    queue_.post([self = shared_from_this(), event = std::move(event)] { self->deliver(event); });
}

void TransferState::deliver(const TransferEvent& event) {
    const auto events = events_; // the callback may cancel, and with that let itself go
    if (std::holds_alternative<TransferEvent::Progress>(event.value)) {
        progressUnderway_ = false;
    }
    if (!events) {
        return;
    }
    if (isEnd(event)) {
        events_ = nullptr;
    }
    (*events)(event);
}

} // namespace fluvane
