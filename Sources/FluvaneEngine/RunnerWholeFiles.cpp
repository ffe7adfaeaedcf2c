// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/Runner.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr const char* pageMessage = tessivar::markedIn(
    "kept", "A web page came instead of the file. You may have to sign in to the network that you are on.");
} // namespace

// Servers that send the whole file, or promise parts

/// To the question whether a body without a length, which broke off, was complete.
void Runner::restAnswered(Download& download, const TransferResponse& response) {
    Piece& piece = download.record.pieces.front();
    const auto refusal = answers::refusal(response.status(), answers::Request::probe);
    parts_.connections.closeAll(download);
    if (answers::saysAllCame(response, piece.next())) {
        learnSize(download, piece);
        goOnWithout(download);
    } else if (refusal && std::holds_alternative<answers::Busy>(*refusal)) {
        busy(download, response);
    } else {
        startOver(download);
    }
}

void Runner::startOver(Download& download) {
    halt(download);
    download.layOut({});
    start(download);
}

/// To the question whether the server keeps its promise of parts. Whatever it says, the connection that
/// fetches the whole file goes on.
void Runner::scoutAnswered(Download& download, Active& active, const TransferResponse& response) {
    auto& pieces = download.record.pieces;
    const Piece half{.start = active.start, .end = download.record.size, .done = 0};
    const bool isPart =
        response.status() == 206 && answers::part(response, download.record, half) == answers::Part::fits;
    const auto whole = download.transfers.find(pieces.front().start);
    const bool isAhead = whole != download.transfers.end() && *pieces.front().end > half.start &&
                         whole->second.reached().value_or(0) < half.start;
    if (isPart) {
        download.parts = Download::Parts::proven;
    }
    if (isPart && isAhead) {
        parts_.connections.split(download, pieces.front().start, half.start);
        partAnswered(download, active, response);
    } else {
        parts_.connections.close(download, active.token);
    }
    if (response.status() == 200) {
        onlyWhole(download, whole != download.transfers.end());
    }
    if (download.record.state.is<State::Downloading>()) {
        carryOn(download);
    }
}

/// The server doesn't keep its promise of parts.
void Runner::onlyWhole(Download& download, bool isUnderWay) {
    download.record.resumable = false;
    log::transfers([&] {
        return fmt::format(
            "download {}: the server sent the whole file to a range request; down to 1 connections",
            download.id());
    });
    turns_.changed();
    if (!isUnderWay) {
        failed(download, {.message = stoppedSendingParts});
    }
}

void Runner::wholeFileAnswered(Download& download, Token token, const TransferResponse& response) {
    const auto& record = download.record;
    parts_.connections.close(download, token);
    if (answers::isPage(response, record)) {
        failed(download, {.message = pageMessage});
        return;
    }
    if (download.relocating) {
        misdirected(download, response);
        return;
    }
    const auto answer = answers::wholeFile(response, record);
    if (answer == answers::WholeFile::ofAnotherFile) {
        fileChanged(download);
        return;
    }
    const auto running = static_cast<int>(download.transfers.size());
    // Some delivery networks answer any If-Range with the whole file: later requests go without it.
    const bool mayPass = answer == answers::WholeFile::same && !download.withoutIfRange &&
                         record.validators->ifRange().has_value();
    download.withoutIfRange = download.withoutIfRange || mayPass;
    download.caps.own().wholeFile(running, mayPass);
    log::transfers([&] {
        return fmt::format(
            "download {}: the server sent the whole file to a range request; down to {} connections",
            record.id, std::max(running, 1));
    });
    if (running == 0) {
        // Nobody has seen a part of it, twice: the promise was none, and it has to come in one go.
        download.record.resumable = download.record.resumable && (download.parts == Download::Parts::proven ||
                                                                  download.retry->failures() == 0);
        failed(download, {.message = stoppedSendingParts});
    }
}

} // namespace fluvane
