// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The connections of running downloads: opening, closing, what they report, and the beat that watches them.

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneCore/Planner.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr double beat = 0.5;                   ///< Seconds between ticks.
constexpr double shortestSample = 0.25;        ///< Seconds; a burst of some milliseconds is no speed.
constexpr std::int64_t ticksPerCheckpoint = 4; ///< So what is on disk is at most some 2 s old.
} // namespace

int DownloadManager::cap(const Download& download) const {
    return std::min(download.connectionCap, config_.connections);
}

int DownloadManager::aim(const Download& download) const {
    return download.record.resumable ? std::min(download.target, cap(download)) : 1;
}

// Opening

/// A connection that ends must not jump the delay that a failure, maybe the server's own word, has set.
void DownloadManager::fill(Download& download) {
    if (!download.record.state.is<State::Downloading>() || !download.file || download.retry) {
        return;
    }
    if (download.transfers.empty() && allComplete(download.record.pieces)) {
        complete(download);
        return;
    }
    while (static_cast<int>(download.transfers.size()) < aim(download) && openOne(download)) {
    }
}

bool DownloadManager::openOne(Download& download) {
    if (connectionsTo(download.record.url.site()) >= config_.connectionsPerServer) {
        const bool isFirst = download.transfers.empty() && download.isPrioritized();
        if (!isFirst || !roomAtServer(download)) {
            return false;
        }
    }
    planner::Busy busy;
    for (const auto& [start, active] : download.transfers) {
        const auto position = active.offset ? active.transfer->position() : start;
        busy[start] = std::max({start, active.offset.value_or(start), position});
    }
    const auto work = planner::nextWork(download.record.pieces, busy, minimumPiece);
    if (!work) {
        return false;
    }
    if (const auto* const idle = std::get_if<planner::IdlePiece>(&*work)) {
        startPiece(download, idle->start);
    } else {
        const auto& split = std::get<planner::Split>(*work);
        splitPiece(download, split.start, split.at);
        startPiece(download, split.at);
    }
    return true;
}

void DownloadManager::splitPiece(Download& download, std::int64_t start, std::int64_t at) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, start).value();
    log::downloads([&] {
        return fmt::format("download {}: a connection takes over the second half of piece {}", download.id(),
                           download.pieceLabel(start));
    });
    const Piece rest{.start = at, .end = pieces[index].end, .done = 0};
    pieces[index].end = at;
    pieces.insert(pieces.begin() + static_cast<std::ptrdiff_t>(index) + 1, rest);
    download.transfers.at(start).transfer->setEnd(at);
}

void DownloadManager::startPiece(Download& download, std::int64_t start) {
    const auto& record = download.record;
    const auto& piece = record.pieces[indexStarting(record.pieces, start).value()];
    TransferRequest request{.url = record.url,
                            .from = piece.next(),
                            .referrer = record.referrer,
                            .label =
                                fmt::format("download {}, piece {}", record.id, download.pieceLabel(start))};
    if (piece.end) {
        request.to = checkedSubtract(*piece.end, 1);
    }
    if (record.validators && !download.withoutIfRange) {
        request.ifRange = record.validators->ifRange();
    }
    startTransfer(download, start, std::move(request), false);
}

void DownloadManager::startTransfer(Download& download, std::int64_t start, TransferRequest request,
                                    bool isProbe) {
    const auto token = nextToken_++;
    auto transfer = transport_->start(std::move(request),
                                      weakly([this, id = download.id(), token](const TransferEvent& event) {
                                          received(id, token, event);
                                      }));
    download.transfers.insert_or_assign(
        start, Download::Active{.transfer = std::move(transfer), .token = token, .isProbe = isProbe});
}

// Closing

/// Brings the piece up to what its connection has written.
void DownloadManager::foldIn(Download& download, std::int64_t start, const Download::Active& active) {
    const auto index = indexStarting(download.record.pieces, start);
    if (!active.offset || !index) {
        return;
    }
    auto& piece = download.record.pieces[*index];
    const auto reached = std::max(*active.offset, active.transfer->position());
    piece.setDone(std::max(piece.done, checkedSubtract(reached, start)));
}

void DownloadManager::dropTransfer(Download& download, std::int64_t start) {
    const auto entry = download.transfers.find(start);
    if (entry == download.transfers.end()) {
        return;
    }
    entry->second.transfer->cancel(); // first, so that the position is its last
    foldIn(download, start, entry->second);
    download.transfers.erase(entry);
}

void DownloadManager::halt(Download& download) {
    while (!download.transfers.empty()) {
        dropTransfer(download, download.transfers.begin()->first);
    }
    if (download.retry) {
        std::exchange(download.retry, nullptr)->cancel();
    }
    closeFile(download);
    ++download.operation;
    download.secondsLeft.reset();
    download.meter.reset();
    download.window.reset();
    if (measuring_ == download.id()) {
        measuring_.reset();
    }
}

/// Closing syncs, which may take long: the next checkpoint does both, off the main queue.
void DownloadManager::closeFile(Download& download) {
    if (download.file) {
        closing_.add(download, std::exchange(download.file, nullptr));
        checkpointWanted_ = true;
        writeSoon();
    }
}

void DownloadManager::trim(Download& download) {
    while (static_cast<int>(download.transfers.size()) > aim(download)) {
        const auto newest = std::ranges::max_element(download.transfers, {},
                                                     [](const auto& entry) { return entry.second.token; });
        dropTransfer(download, newest->first);
    }
}

// Events

void DownloadManager::received(DownloadID id, std::int64_t token, const TransferEvent& event) {
    assertContext();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    const auto entry = std::ranges::find_if(
        download->transfers, [&](const auto& candidate) { return candidate.second.token == token; });
    if (entry == download->transfers.end()) {
        return; // of a connection that was closed meanwhile
    }
    const auto start = entry->first;
    if (const auto* const response = std::get_if<TransferResponse>(&event.value)) {
        entry->second.isProbe ? probeAnswered(*download, *response)
                              : pieceAnswered(*download, start, *response);
    } else if (const auto* const progress = std::get_if<TransferEvent::Progress>(&event.value)) {
        count(*download, start, progress->written);
        progressed(*download);
    } else if (const auto* const end = std::get_if<TransferEvent::Finished>(&event.value)) {
        count(*download, start, end->written);
        download->transfers.erase(start);
        ended(*download, start);
    } else {
        const auto& failure = std::get<TransferEvent::Failed>(event.value);
        count(*download, start, failure.written);
        download->transfers.erase(start);
        failed(*download, failure.error, std::nullopt);
    }
}

/// Counts what a connection has written in all.
void DownloadManager::count(Download& download, std::int64_t start, std::int64_t written) {
    auto& active = download.transfers.at(start);
    const auto index = indexStarting(download.record.pieces, start);
    if (!active.offset || !index) {
        return; // nothing was accepted yet
    }
    const auto reached = std::max(*active.offset, checkedAdd(active.acceptedAt, written));
    received_ = checkedAdd(received_, checkedSubtract(reached, *active.offset));
    active.offset = reached;
    auto& piece = download.record.pieces[*index];
    piece.setDone(std::max(piece.done, checkedSubtract(reached, start)));
}

void DownloadManager::progressed(Download& download) {
    const auto now = scheduler_->now();
    adapt(download, measure(download, now), now);
}

/// Feeds the meter; returns the bytes that the download has.
std::int64_t DownloadManager::measure(Download& download, double now) {
    const auto bytes = download.liveBytes();
    const auto last = download.meter.lastTime;
    if (!last || now - *last >= shortestSample) {
        download.meter.add(bytes, now);
    }
    return bytes;
}

// The beat

void DownloadManager::updateTicker() {
    const bool anyActive = std::ranges::any_of(
        downloads_, [](const auto& download) { return download->record.state.isActive(); });
    if (anyActive && !ticker_) {
        ticker_ = scheduler_->after(beat, weakly([this] { tick(); }));
    } else if (!anyActive && ticker_) {
        std::exchange(ticker_, nullptr)->cancel();
    }
    const bool awake = anyActive && config_.keepAwake;
    if (std::exchange(awake_, awake) != awake) {
        power_->keepAwake(awake);
    }
}

void DownloadManager::tick() {
    ticker_.reset();
    ++ticks_;
    const auto now = scheduler_->now();
    for (const auto& download : downloads_) {
        if (!download->record.state.usesNetwork()) {
            continue;
        }
        const auto bytes = measure(*download, now);
        download->lastLive = bytes;
        const auto size = download->record.size;
        download->secondsLeft =
            size ? download->meter.secondsLeft(std::max<std::int64_t>(*size - bytes, 0), now) : std::nullopt;
    }
    noticeNeighbours();
    fillAll();
    if (ticks_ % ticksPerCheckpoint == 0 && received_ != receivedAtCheckpoint_) {
        checkpointWanted_ = true;
        writeSoon();
    }
    changed();
    updateTicker();
}

} // namespace fluvane
