// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/FakeTransport.h"

#include <algorithm>

#include <fmt/format.h>

namespace fluvane::support {

std::string content(std::int64_t from, std::int64_t to) {
    // Blocks of one pattern, shifted by the block's number, so that none lies right in another's place.
    static const std::string blocks = [] {
        std::string bytes;
        for (int number = 0; number < 256; ++number) {
            for (int i = 0; i < 65'521; ++i) {
                bytes += static_cast<char>(i * 31 + i / 251 + number);
            }
        }
        return bytes;
    }();
    std::string bytes;
    while (from < to) {
        const auto within = from % std::ssize(blocks);
        const auto count = std::min(std::ssize(blocks) - within, to - from);
        bytes.append(blocks, static_cast<std::size_t>(within), static_cast<std::size_t>(count));
        from += count;
    }
    return bytes;
}

void FakeTransfer::accept(std::shared_ptr<PieceFile> file, std::int64_t at, std::optional<std::int64_t> end) {
    file_ = std::move(file);
    offset_ = next_ = at;
    end_ = end;
    endIfThere();
}

void FakeTransfer::setEnd(std::int64_t end) {
    end_ = end;
    endIfThere();
}

void FakeTransfer::endIfThere() {
    if (over_ || !file_ || !end_ || next_ < *end_) {
        return;
    }
    over_ = true;
    file_.reset();
    scheduler_.after(0, [self = shared_from_this()] {
        if (!self->cancelled_) {
            self->events_({TransferEvent::Finished{self->written()}});
        }
    });
}

void FakeTransfer::cancel() {
    const auto position = next_;
    try {
        sendQuietly(writesOnCancel);
    } catch (const FileError&) {
        // nobody is told any more
    }
    next_ = position;
    over_ = cancelled_ = true;
    file_.reset();
}

void FakeTransfer::respond(int status, TransferResponse::Headers headers) {
    if (!over_) {
        events_({TransferResponse(status, redirectedTo.value_or(request.url), headers)});
        if (isProbe()) {
            scheduler_.runTurns();
        }
    }
}

void FakeTransfer::respondPart(std::int64_t size, TransferResponse::Headers more) {
    const auto last = std::min(request.to.value_or(size - 1), size - 1);
    more.emplace_back("Content-Range", fmt::format("bytes {}-{}/{}", request.from.value(), last, size));
    respond(206, std::move(more));
}

void FakeTransfer::sendQuietly(std::int64_t count) {
    if (over_ || !file_) {
        return;
    }
    const auto wanted = end_ ? std::min(count, *end_ - next_) : count;
    if (wanted > 0) {
        const auto bytes = body ? std::string() : content(next_, next_ + wanted);
        file_->write(body ? body(wanted) : std::as_bytes(std::span(bytes)), next_);
        next_ += wanted;
    }
}

void FakeTransfer::send(std::int64_t count) {
    try {
        sendQuietly(count);
    } catch (const FileError& error) {
        end({TransferEvent::Failed{
            {.message = std::string("Couldn't write to the file: ") + error.what(), .full = error.isFull()},
            written()}});
        return;
    }
    if (over_ || !file_) {
        return;
    }
    if (end_ && next_ >= *end_) {
        finish();
    } else {
        events_({TransferEvent::Progress{written()}});
    }
}

void FakeTransfer::finish() {
    end({TransferEvent::Finished{written()}});
}

void FakeTransfer::fail(const std::string& message, bool offline) {
    end({TransferEvent::Failed{{message, offline}, written()}});
}

void FakeTransfer::end(const TransferEvent& event) {
    if (!over_) {
        over_ = true;
        file_.reset();
        events_(event);
    }
}

std::shared_ptr<Transfer> FakeTransport::start(TransferRequest request, Events events) {
    const auto transfer = transfers.emplace_back(
        std::make_shared<FakeTransfer>(std::move(request), std::move(events), scheduler_));
    if (onStart) {
        onStart(transfer);
    }
    return {transfer.get(), [transfer](Transfer*) { transfer->cancel(); }};
}

std::vector<std::shared_ptr<FakeTransfer>> FakeTransport::live() const {
    std::vector<std::shared_ptr<FakeTransfer>> open;
    std::ranges::copy_if(transfers, std::back_inserter(open),
                         [](const auto& transfer) { return !transfer->isOver(); });
    return open;
}

namespace {
constexpr double beatSeconds = 0.25;
}

FakeServer::FakeServer(FakeTransport& transport, ManualScheduler& scheduler)
    : transport_(transport), scheduler_(scheduler) {
    transport_.onStart = [this](const auto& transfer) {
        scheduler_.after(0, [this, transfer] { answer(transfer); });
    };
    scheduler_.after(beatSeconds, [this] { beat(); });
}

void FakeServer::answer(const std::shared_ptr<FakeTransfer>& transfer) {
    if (transfer->isOver() || (answers && answers(*transfer))) {
        return;
    }
    const auto& request = transfer->request;
    const bool part = sendsParts && request.from && (!request.ifRange || *request.ifRange == etag);
    if (part) {
        transfer->respondPart(size, {{"ETag", etag}});
    } else {
        transfer->respond(200, {{"Content-Length", std::to_string(size)}, {"ETag", etag}});
    }
}

void FakeServer::beat() {
    const auto live = transport_.live();
    for (const auto& transfer : live) {
        pour(*transfer, live.size());
    }
    scheduler_.after(beatSeconds, [this] { beat(); });
}

void FakeServer::pour(FakeTransfer& transfer, std::size_t connections) {
    if (!transfer.isAccepted()) {
        return;
    }
    const auto share =
        bytesPerSecondInAll ? *bytesPerSecondInAll / static_cast<double>(connections) : bytesPerSecond;
    const auto own = speedOf ? speedOf(transfer) : std::nullopt;
    const auto rate = own ? *own : std::min(bytesPerSecond, share);
    const auto before = transfer.position();
    const auto count = std::min(static_cast<std::int64_t>(rate * beatSeconds), size - before);
    if (count > 0) {
        transfer.send(count);
    }
    sent += transfer.position() - before;
    const bool isEnough = longest && transfer.position() - transfer.request.from.value_or(0) >= *longest;
    if (!transfer.isOver() && (transfer.position() >= size || isEnough)) {
        transfer.finish();
    }
}

} // namespace fluvane::support
