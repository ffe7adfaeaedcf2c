// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/Runner.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr int mostMisdirections = 3;
}

// Links that lead to several servers

/// Whether what an address refuses may be had from another one that the link leads to.
bool Runner::mayLeadElsewhere(Download& download, const URL& asked) {
    const auto& record = download.record;
    if (asked == record.url || !record.resumable || !record.state.is<State::Downloading>()) {
        return false;
    }
    if (!download.relocating &&
        record.finalURL == asked) { // else another connection has found it out already
        log::downloads([&] {
            return fmt::format("download {}: its address refuses, asking the link again", record.id);
        });
        download.asksLink = ++download.misdirections > mostMisdirections;
        download.relocating = !download.asksLink;
    }
    return true;
}

/// The link leads to a server that refuses, too. It may lead elsewhere the next time.
void Runner::misdirected(Download& download, const TransferResponse& response) {
    const auto refusal = answers::refusal(response.status(), answers::Request::probe);
    if (refusal && std::holds_alternative<answers::Busy>(*refusal)) {
        busy(download, response);
        return;
    }
    const auto* const words = refusal ? std::get_if<answers::Refused>(&*refusal) : nullptr;
    if (response.url() != download.record.url && ++download.misdirections <= mostMisdirections) {
        failed(download, {.message = words ? words->sentence : stoppedSendingParts});
    } else {
        linkExpired(download);
    }
}

void Runner::mirrorAnswered(Download& download, Active& active, const TransferResponse& response) {
    const Piece& piece = *download.pieceOf(active);
    const auto answer = answers::mirror(response, download.record, piece.next());
    if (answer == answers::Mirror::same) {
        moved(download, response);
        partAnswered(download, active, response);
        parts_.connections.fill(download);
        return;
    }
    parts_.connections.close(download, active.token);
    if (answer == answers::Mirror::isWrong) {
        failed(download, {.message = tessivar::kept("kept", "The server sent the wrong part of the file.")});
    } else if (answer == answers::Mirror::ofAnotherFile) {
        linkExpired(download); // of the one that it led to nothing is lost
    } else if (!download.transfers.contains(Download::noPiece)) {
        compareOrMove(download);
    }
}

/// Where nothing was written there is nothing to compare, and nothing to lose. A write may still be under
/// way, though, and mix what may be another file into this one.
void Runner::compareOrMove(Download& download) {
    if (download.record.doneBytes() == 0) {
        parts_.connections.closeAll(download); // what they wrote without telling counts from here on
    }
    if (download.record.doneBytes() == 0) {
        startOver(download);
    } else {
        parts_.connections.compare(download);
    }
}

void Runner::comparisonAnswered(Download& download, Active& active, const TransferResponse& response) {
    const auto from = active.acceptedAt;
    const bool isPart = response.status() == 206;
    const auto answer = isPart ? answers::mirror(response, download.record, from) : answers::Mirror::isWrong;
    if (answer == answers::Mirror::same || answer == answers::Mirror::mayBeSame) {
        active.comparison->answer = response;
        active.accept(active.comparison, from, Piece{.start = from, .end = active.asked});
        return;
    }
    parts_.connections.close(download, active.token);
    if (isPart) {
        linkExpired(download);
    } else {
        misdirected(download, response);
    }
}

void Runner::compared(Download& download, const Comparison& comparison) {
    if (!comparison.isEqual() || !comparison.answer) {
        linkExpired(download);
        return;
    }
    moved(download, *comparison.answer);
    parts_.connections.fill(download);
}

/// From now on its pieces come from there.
void Runner::moved(Download& download, const TransferResponse& response) {
    const auto validators = response.validators();
    download.record.validators = validators.isEmpty() ? std::nullopt : std::optional(validators);
    download.record.finalURL = response.url();
    download.relocating = false;
    turns_.changed();
}

} // namespace fluvane
