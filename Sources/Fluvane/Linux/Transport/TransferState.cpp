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
    cancelled_ = !isOver();
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
    while (!bytes.empty()) { // again where the end has moved away meanwhile
        auto write = beginWrite(bytes.size());
        if (!write) {
            return;
        }
        const auto part = bytes.first(static_cast<std::size_t>(write->after - write->at));
        std::optional<TransferError> error;
        try {
            write->file->write(part, write->at);
        } catch (const FileError& failure) {
            error = {.message = tessivar::kept("kept", transferText::couldNotWrite, failure.what()),
                     .full = failure.isFull()};
        } catch (const std::exception& failure) {
            error = {.message = tessivar::kept("kept", transferText::couldNotWrite, failure.what())};
        }
        if (!endWrite(std::move(*write), error)) {
            return;
        }
        bytes = bytes.subspan(part.size());
    }
}

std::optional<TransferState::Write> TransferState::beginWrite(std::size_t most) {
    const Lock lock(mutex_);
    if (over_ || !file_) {
        return std::nullopt;
    }
    const std::int64_t at = next_;
    const auto after = checkedAdd(at, static_cast<std::int64_t>(most));
    writing_ = true;
    return Write{file_, at, end_ ? std::min(after, *end_) : after};
}

/// Books it, unless the transfer was over first. False once it is over.
bool TransferState::endWrite(Write write, const std::optional<TransferError>& error) {
    Lock lock(mutex_);
    if (over_) {
        lock.unlock();
        write.file.reset(); // the last one closes it, which is waiting for the disk as well
        writing_ = false;
        return false;
    }
    if (!error) {
        next_ = end_ ? std::min(write.after, *end_) : write.after; // the end may have come nearer meanwhile
    }
    if (error || next_ == end_) {
        endWith(lock, error ? TransferEvent{TransferEvent::Failed{*error, written()}}
                            : TransferEvent{TransferEvent::Finished{written()}});
        write.file.reset();
        writing_ = false;
        return false;
    }
    writing_ = false;
    postProgress();
    return true;
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
