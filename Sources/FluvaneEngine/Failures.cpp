// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Everything that can go wrong on the way: a retry, a stop that needs the user, or a failure with its
// sentence.

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

constexpr double waitForRoom = 1; ///< Seconds between looks at a full server.
constexpr const char* changedMessage = "The file changed on the server, so this download stopped.";

bool isKnownSame(const Validators& a, const Validators& b) {
    const bool comparable = (a.etag && b.etag) || (a.lastModified && b.lastModified);
    return comparable && !a.differ(b);
}

} // namespace

// Answers to a piece's request

void DownloadManager::pieceAnswered(Download& download, std::int64_t start,
                                    const TransferResponse& response) {
    if (refusal(download, start, response, false)) {
        return;
    }
    if (response.status() == 206) {
        partAnswered(download, start, response);
    } else {
        wholeFileAnswered(download, start, response);
    }
}

void DownloadManager::partAnswered(Download& download, std::int64_t start, const TransferResponse& response) {
    auto& record = download.record;
    const auto& piece = record.pieces[indexStarting(record.pieces, start).value()];
    const auto range = response.contentRange();
    if (!range || range->first != piece.next() || response.isEncoded()) {
        dropTransfer(download, start);
        failed(download, {.message = "The server sent the wrong part of the file."}, std::nullopt);
        return;
    }
    const bool otherSize = range->total && record.size && *range->total != *record.size;
    if (otherSize || (record.validators && response.validators().differ(*record.validators))) {
        fileChanged(download);
        return;
    }
    auto& active = download.transfers.at(start);
    active.offset = range->first;
    active.acceptedAt = range->first;
    active.transfer->accept(download.file, range->first, piece.end);
    if (download.capBeforeWholeFile) {
        download.connectionCap = *std::exchange(download.capBeforeWholeFile, std::nullopt);
        fill(download);
    }
}

void DownloadManager::wholeFileAnswered(Download& download, std::int64_t start,
                                        const TransferResponse& response) {
    auto& record = download.record;
    dropTransfer(download, start);
    const auto validators = response.validators();
    if (record.validators && validators.differ(*record.validators)) {
        fileChanged(download);
        return;
    }
    const auto running = static_cast<int>(download.transfers.size());
    const bool sameFile = record.validators && isKnownSame(validators, *record.validators);
    if (sameFile && !download.withoutIfRange && record.validators->ifRange()) {
        // Some delivery networks answer any If-Range with the whole file: later requests go without it.
        download.withoutIfRange = true;
        download.capBeforeWholeFile = download.connectionCap;
    }
    download.connectionCap = std::max(running, 1);
    log::transfers([&] {
        return fmt::format(
            "download {}: the server sent the whole file to a range request; down to {} connections",
            record.id, download.connectionCap);
    });
    if (running == 0) {
        failed(download, {.message = "The server stopped sending parts of the file."}, std::nullopt);
    }
}

void DownloadManager::fileChanged(Download& download) {
    log::downloads([&] { return fmt::format("download {}: the file changed on the server", download.id()); });
    fail(download, changedMessage, true);
}

// Refusals

/// Nothing for an answer that may be used; else its status, once it has been dealt with.
std::optional<int> DownloadManager::refusal(Download& download, std::int64_t start,
                                            const TransferResponse& response, bool probing) {
    const int status = response.status();
    if (status == 200 || status == 206) {
        return std::nullopt;
    }
    dropTransfer(download, start);
    switch (status) {
    case 429:
    case 503:
        download.connectionCap = std::max(cap(download) / 2, 1);
        if (auto& kept = download.capBeforeWholeFile) {
            kept = std::max(std::min(*kept, config_.connections) / 2, 1);
        }
        [[fallthrough]];
    case 408:
    case 425:
        busy(download, response);
        return status;
    default:
        break;
    }
    if (status >= 500 && status <= 599) {
        busy(download, response);
    } else if (probing) {
        refuseProbe(download, status);
    } else {
        refusePiece(download, status);
    }
    return status;
}

void DownloadManager::refuseProbe(Download& download, int status) {
    switch (status) {
    case 401:
    case 403:
        fail(download, fmt::format("The server refused to send the file ({}).", status));
        return;
    case 404:
    case 410:
        fail(download, fmt::format("The server says the file isn't there ({}).", status));
        return;
    case 416:
        fail(download, "The server can't send this file (416).");
        return;
    default:
        fail(download, fmt::format("The server answered {} instead of sending the file.", status));
    }
}

void DownloadManager::refusePiece(Download& download, int status) {
    switch (status) {
    case 401:
    case 403:
    case 404:
    case 410:
        linkExpired(download);
        return;
    case 416:
        fileChanged(download);
        return;
    default:
        fail(download, fmt::format("The server answered {} instead of sending the file.", status));
    }
}

void DownloadManager::busy(Download& download, const TransferResponse& response) {
    const auto value = response["retry-after"];
    const auto delay = value ? retryAfter::delay(*value, surroundings_.today()) : std::nullopt;
    failed(download, {.message = fmt::format("The server is busy ({}).", response.status())}, delay);
}

void DownloadManager::linkExpired(Download& download) {
    log::downloads(
        [&] { return fmt::format("download {}: the link was refused mid-download", download.id()); });
    halt(download);
    set(download, State::Wait::linkExpired);
    notify([&](Notifier& notifier) { notifier.linkExpired(download.record); });
    pump();
}

// Retries and failures

void DownloadManager::failed(Download& download, const TransferError& error,
                             std::optional<double> retryAfter) {
    const auto& state = download.record.state;
    if (!state.is<State::Downloading>() && !state.is<State::Starting>() &&
        !state.isWaiting(State::Wait::retrying)) {
        return;
    }
    if (!download.retry) {
        countFailure(download, error);
    }
    if (download.failures > maxAttempts) {
        fail(download, error.message);
        return;
    }
    if (!download.record.resumable) {
        halt(download);
        layOut(download, {});
        download.bytesAtFailure = 0;
    }
    if (!download.retry) {
        retryLater(download, error, retryAfter);
    }
    if (download.transfers.empty()) {
        set(download, State::Wait::retrying);
        pump(); // its server may have room for another download now
    }
}

/// A good stretch of progress ends the row of failures, so that a long download on a bad line isn't ended by
/// a few breaks over days. A machine without network ends no download either.
void DownloadManager::countFailure(Download& download, const TransferError& error) {
    const auto bytes = download.liveBytes();
    if (download.record.resumable && bytes - download.bytesAtFailure >= minimumPiece) {
        download.failures = 0;
        download.offlineFailures = 0;
    }
    download.bytesAtFailure = bytes;
    ++(error.offline ? download.offlineFailures : download.failures);
}

void DownloadManager::retryLater(Download& download, const TransferError& error,
                                 std::optional<double> retryAfter) {
    const auto attempt = download.failures + download.offlineFailures;
    const auto delay = retryAfter ? *retryAfter : backoff.delay(attempt, random_());
    log::downloads([&] {
        return fmt::format("download {}: {} tries again in {:.1f} s", download.id(), error.message, delay);
    });
    download.retryReason = error.message;
    scheduleRetry(download, delay);
}

void DownloadManager::scheduleRetry(Download& download, double delay) {
    download.retryAt = scheduler_->now() + delay;
    download.retry = scheduler_->after(delay, weakly([this, id = download.id()] { retried(id); }));
}

std::optional<double> DownloadManager::retryIn(const Download& download) const {
    if (!download.retry || !download.record.state.isWaiting(State::Wait::retrying)) {
        return std::nullopt;
    }
    return std::max(download.retryAt - scheduler_->now(), 0.0);
}

void DownloadManager::retried(DownloadID id) {
    Download* const download = find(id);
    if (!download) {
        return;
    }
    download->retry.reset();
    const auto& record = download->record;
    if (record.state.is<State::Downloading>()) {
        fill(*download);
    } else if (record.state.isWaiting(State::Wait::retrying)) {
        if (record.resumable && download->file && !record.pieces.empty()) {
            set(*download, State::Downloading{});
            fill(*download);
        } else if (roomAtServer(*download)) {
            begin(*download, false);
        } else {
            scheduleRetry(*download, waitForRoom);
        }
    }
}

void DownloadManager::reconnect() {
    assertContext();
    log::network([] { return std::string("the machine is awake again, connecting anew"); });
    std::vector<DownloadID> ids;
    for (const auto& download : downloads_) {
        ids.push_back(download->id()); // a failure may start others
    }
    for (const auto id : ids) {
        if (Download* const download = find(id)) {
            reconnect(*download);
        }
    }
    changed();
}

void DownloadManager::reconnect(Download& download) {
    const auto& record = download.record;
    const bool isDownloading = record.state.is<State::Downloading>();
    if (record.state.is<State::Starting>() || (isDownloading && record.resumable)) {
        while (!download.transfers.empty()) {
            dropTransfer(download, download.transfers.begin()->first);
        }
    }
    if (download.retry) {
        std::exchange(download.retry, nullptr)->cancel();
        retried(download.id());
    } else if (record.state.is<State::Starting>()) {
        begin(download, false);
    } else if (isDownloading && record.resumable) {
        fill(download);
    }
    download.window.reset();
}

void DownloadManager::fail(Download& download, const std::string& message, bool discard) {
    halt(download);
    if (discard && download.record.partial) {
        files_->remove(*download.record.partial);
        download.record.partial.reset();
        layOut(download, {});
    }
    log::downloads([&] { return fmt::format("download {} failed: {}", download.id(), message); });
    set(download, State::Failed{message});
    notify([&](Notifier& notifier) { notifier.failed(download.record, message); });
    pump();
}

void DownloadManager::notify(const std::function<void(Notifier&)>& tell) const {
    if (config_.notifyWhenDone) {
        tell(*notifier_);
    }
}

} // namespace fluvane
