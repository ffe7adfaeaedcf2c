// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Runner.h"

#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/Sessions.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

constexpr double waitForRoom = 1; ///< Seconds between looks at a full server.
constexpr const char* changedMessage =
    tessivar::markedIn("kept", "The file changed on the server, so this download stopped.");

constexpr const char* unsyncedMessage =
    tessivar::markedIn("kept", "Couldn't write to the file: Some of its bytes didn't reach the disk.");
/// Bytes that show that a server serves a connection.
constexpr std::int64_t worthReplacing = 16 * 1024;

/// A body whose length nobody told may be complete though it broke off.
bool mayHaveAll(const Download& download) {
    const auto& record = download.record;
    return !record.resumable && !record.size && download.file && record.doneBytes() > 0;
}

bool canCarryOn(const Download& download) {
    const bool hasPieces = download.file && !download.record.pieces.empty();
    return hasPieces && (download.record.resumable || mayHaveAll(download));
}

/// A connection that ended by itself while its piece wants more bytes, or before it had one.
bool closedEarly(const Piece* piece) {
    return !piece || (piece->end && !piece->isComplete());
}

} // namespace

Runner::Runner(const DownloadList& list, const Conditions& conditions, Turns& turns, RunnerParts parts,
               std::shared_ptr<Notifier> notifier, std::shared_ptr<Scheduler> scheduler,
               std::function<Date()> today)
    : list_(list), conditions_(conditions), turns_(turns), parts_(parts), notifier_(std::move(notifier)),
      scheduler_(std::move(scheduler)), today_(std::move(today)) {}

// Beginning and halting

void Runner::begin(Download& download) {
    if (Sessions::isLost(download)) {
        linkExpired(download, "its session is lost");
        return;
    }
    parts_.starter.renew(download);
    start(download);
}

bool Runner::makeRoom(const Download& download) {
    if (parts_.connections.makeRoom(download)) {
        return true;
    }
    Download* newest = nullptr;
    for (const auto& other : list_) {
        const bool isThere =
            !other->transfers.empty() && other->record.url.site() == download.record.url.site();
        newest = isThere && !other->isPrioritized() ? other.get() : newest;
    }
    if (!download.isPrioritized() || !newest) {
        return download.isPrioritized();
    }
    halt(*newest);
    turns_.set(*newest, State::Queued{});
    return true;
}

void Runner::carryOn(Download& download) {
    const bool runs = download.record.state.is<State::Downloading>() && download.file;
    if (runs && download.hasEverything() && !download.retry->isPending()) {
        complete(download);
    } else {
        parts_.connections.fill(download);
    }
}

/// What a failed sync may have lost is fetched again before the file is anybody's.
void Runner::complete(Download& download) {
    if (download.claim.isDistrusted()) {
        failed(download, {.message = unsyncedMessage});
    } else {
        parts_.finisher.complete(download);
    }
}

void Runner::fillAll() {
    for (const auto& download : list_) {
        if (download->record.state.is<State::Downloading>()) {
            carryOn(*download);
        }
    }
}

void Runner::rescue() {
    for (const auto& download : list_) {
        if (download->record.state.is<State::Downloading>()) {
            parts_.connections.rescue(*download);
        }
    }
}

void Runner::halt(Download& download) {
    parts_.connections.closeAll(download);
    if (auto* const retry = download.retry.ifOwn()) {
        retry->cancel();
    }
    parts_.saver.close(download);
    DiskWork::abandon(download);
    parts_.disk.letGo(download.id(), download.written);
    parts_.growth.leave(download);
    download.secondsLeft.reset();
    download.meter.reset();
}

std::shared_ptr<PieceFile> Runner::release(Download& download) {
    auto file = download.file;
    parts_.connections.closeAll(download);
    parts_.saver.close(download);
    DiskWork::abandon(download);
    if (auto* const growth = download.growth.ifOwn()) {
        growth->interrupt();
    }
    return file;
}

void Runner::goOn(Download& download) {
    const auto& state = download.record.state;
    const bool runs = state.is<State::Downloading>() || state.is<State::Starting>();
    if (runs && !download.file && download.transfers.empty()) {
        start(download);
    }
}

// Events

void Runner::received(DownloadID id, Token token, const TransferEvent& event) {
    Download* const download = list_.find(id);
    Active* const active = download ? Connections::find(*download, token) : nullptr;
    if (!active) {
        return; // of a connection that was closed meanwhile
    }
    const auto start = active->start;
    if (const auto* const response = std::get_if<TransferResponse>(&event.value)) {
        active->isProbe ? probeAnswered(*download, token, *response)
                        : pieceAnswered(*download, *active, *response);
    } else if (const auto* const progress = std::get_if<TransferEvent::Progress>(&event.value)) {
        parts_.connections.count(*download, *active, progress->written);
        progressed(*download);
    } else if (const auto* const end = std::get_if<TransferEvent::Finished>(&event.value);
               end && active->comparison && active->offset &&
               *active->asked == active->acceptedAt + end->written) {
        const auto comparison = active->comparison;
        parts_.connections.ended(*download, *active, end->written);
        compared(*download, *comparison);
    } else if (end) {
        parts_.connections.ended(*download, *active, end->written);
        ended(*download, start, end->written);
    } else {
        const auto& failure = std::get<TransferEvent::Failed>(event.value);
        const auto asked = active->url;
        parts_.connections.ended(*download, *active, failure.written);
        if ((failure.error.lasting || failure.error.nameless) && mayLeadElsewhere(*download, *asked)) {
            parts_.connections.giveBack(*download, start);
            parts_.connections.fill(*download);
            return;
        }
        brokeOff(*download, failure.error, start, failure.written);
    }
}

void Runner::progressed(Download& download) {
    download.spaceDelay = 0;
    const auto now = scheduler_->now();
    parts_.growth.adapt(download, download.measure(now), now);
}

void Runner::pieceAnswered(Download& download, Active& active, const TransferResponse& response) {
    if (active.comparison) {
        comparisonAnswered(download, active, response);
    } else if (!download.record.resumable) {
        restAnswered(download, response);
    } else if (!download.pieceOf(active)) {
        scoutAnswered(download, active, response);
    } else if (refused(download, active.token, response, answers::Request::piece)) {
        return;
    } else if (response.status() == 206 && download.relocating) {
        mirrorAnswered(download, active, response);
    } else if (response.status() == 206) {
        partAnswered(download, active, response);
    } else {
        wholeFileAnswered(download, active.token, response);
    }
}

void Runner::partAnswered(Download& download, Active& active, const TransferResponse& response) {
    const Piece& piece = *download.pieceOf(active);
    switch (answers::part(response, download.record, piece)) {
    case answers::Part::isWrong:
        parts_.connections.close(download, active.token);
        failed(download, {.message = tessivar::kept("kept", "The server sent the wrong part of the file.")});
        return;
    case answers::Part::ofAnotherFile:
        fileChanged(download);
        return;
    case answers::Part::fits:
        active.accept(download.file, piece.next(), piece);
        download.unanswered = 0;
        download.misdirections = 0;
        download.parts = Download::Parts::proven;
        download.caps.own().granted(download.writing());
        if (download.caps.own().partCame()) {
            parts_.connections.fill(download);
        }
    }
}

// Ends of connections

/// A connection finished by itself.
void Runner::ended(Download& download, std::int64_t start, std::int64_t brought) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, start);
    Piece* const piece = index ? &pieces[*index] : nullptr;
    if (closedEarly(piece)) {
        brokeOff(download, {.message = tessivar::kept("kept", "The server closed the connection early.")},
                 start, brought);
    } else if (!piece->end) {
        learnSize(download, *piece);
    }
    if (download.record.state.is<State::Downloading>()) {
        goOnWithout(download);
    }
}

/// A connection ended before its piece. Many servers close connections now and then, or send less than was
/// asked for: one that had brought something is replaced at once and counts as no failure.
void Runner::brokeOff(Download& download, const TransferError& error, std::int64_t start,
                      std::int64_t brought) {
    const bool runs = download.record.state.is<State::Downloading>() && download.record.resumable;
    const bool brings = start != Download::noPiece && brought >= worthReplacing;
    if (runs && brings && !error.offline && !error.lasting && !error.full) {
        log::transfers([&] {
            return fmt::format("download {}: another connection carries on after: {}", download.id(),
                               log::hidden(error.message));
        });
        parts_.connections.replace(download);
        return;
    }
    parts_.connections.giveBack(download, start);
    failed(download, error);
}

/// The stream had no length; where it ends, the file does.
void Runner::learnSize(Download& download, Piece& onlyPiece) {
    onlyPiece.end = onlyPiece.next();
    download.record.size = onlyPiece.end;
    download.claim.learnEnd(*onlyPiece.end);
    turns_.changed();
}

void Runner::goOnWithout(Download& download) {
    if (allComplete(download.record.pieces)) { // what is asked for besides isn't needed
        parts_.connections.closeIf(download, [&](const Active& active) { return !download.pieceOf(active); });
    }
    if (download.hasEverything()) {
        complete(download);
    } else if (!allComplete(download.record.pieces)) {
        parts_.connections.fill(download);
        if (download.transfers.empty() && download.retry->isPending()) {
            turns_.set(download, State::Wait::retrying);
        }
    }
}

// Refusals, retries and failures

bool Runner::refused(Download& download, Token token, const TransferResponse& response,
                     answers::Request request) {
    const auto refusal = answers::refusal(response.status(), request);
    if (!refusal) {
        return false;
    }
    const auto* const isBusy = std::get_if<answers::Busy>(&*refusal);
    const auto asked = Connections::find(download, token)->url.value();
    if (isBusy && isBusy->halves) {
        parts_.connections.refused(download, token);
    } else {
        parts_.connections.close(download, token);
    }
    if (isBusy) {
        busy(download, response);
    } else if (std::holds_alternative<answers::LinkExpired>(*refusal)) {
        if (mayLeadElsewhere(download, asked)) {
            parts_.connections.fill(download);
        } else if (download.relocating) {
            misdirected(download, response);
        } else {
            linkExpired(download);
        }
    } else if (std::holds_alternative<answers::FileChanged>(*refusal)) {
        download.relocating ? misdirected(download, response) : fileChanged(download);
    } else if (request == answers::Request::piece && mayLeadElsewhere(download, asked)) {
        parts_.connections.fill(download);
    } else {
        fail(download, std::get<answers::Refused>(*refusal).sentence);
    }
    return true;
}

void Runner::busy(Download& download, const TransferResponse& response) {
    const auto value = response["retry-after"];
    const auto delay = value ? retryAfter::delay(*value, today_()).value_or(0) : 0;
    failed(download, {.message = tessivar::kept("kept", "The server is busy (%1).", response.status())},
           delay);
}

void Runner::linkExpired(Download& download, const char* why) {
    log::downloads([&] { return fmt::format("download {}: {}", download.id(), why); });
    halt(download);
    turns_.set(download, State::Wait::linkExpired);
    notifier_->linkExpired(download.record);
}

void Runner::fileChanged(Download& download) {
    log::downloads([&] { return fmt::format("download {}: the file changed on the server", download.id()); });
    fail(download, changedMessage, true);
}

void Runner::failed(Download& download, const TransferError& error, std::optional<double> retryAfter) {
    const auto& state = download.record.state;
    if (!state.usesNetwork()) {
        return; // it was stopped meanwhile
    }
    if (download.claim.isDistrusted()) {
        // Nothing can be written until the file is opened again; bytes that were lost are no progress.
        parts_.connections.closeAll(download);
        parts_.saver.close(download);
        download.claim.reopen(download.record.pieces);
    }
    DiskWork::abandon(download); // of a probe that ended while its file was being made
    const bool isUnending = error.full && !download.record.size; // it would be fetched anew for ever
    if (error.full && !isUnending) {
        waitForSpace(download, std::nullopt);
        return;
    }
    const bool isHopeless = isUnending || (error.lasting && download.writing() == 0);
    if (isHopeless || !parts_.retries.mayTryAgain(download, error)) {
        fail(download, error.message);
        return;
    }
    download.caps.own().notGrantedBeside(download.writing());
    download.growth.own().interrupt(); // no judgement of it spans an outage
    // The address may be gone for good while the link leads elsewhere.
    download.relocating = download.relocating || (download.record.resumable && download.writing() == 0 &&
                                                  download.address() != download.record.url);
    if (!download.record.resumable && !mayHaveAll(download)) {
        halt(download);
        download.layOut({});
    }
    parts_.retries.schedule(download, error, retryAfter);
    if (download.transfers.empty()) {
        turns_.set(download, State::Wait::retrying);
    }
}

void Runner::fail(Download& download, const std::string& sentence, bool discard) {
    halt(download);
    auto& record = download.record;
    if (discard) {
        parts_.starter.discard(download,
                               [this](Download& /*failed*/, const auto& /*error*/) { turns_.changed(); });
    }
    log::downloads([&] { return fmt::format("download {} failed: {}", record.id, log::hidden(sentence)); });
    turns_.set(download, State::Failed{sentence});
    notifier_->failed(record, sentence);
}

void Runner::retried(DownloadID id) {
    Download* const download = list_.find(id);
    if (!download) {
        return;
    }
    download->retry.own().cancel();
    download->caps.own().delayOver();
    const auto& state = download->record.state;
    if (state.is<State::Downloading>()) {
        carryOn(*download);
    } else if (state.isWaiting(State::Wait::retrying)) {
        if (canCarryOn(*download)) {
            turns_.set(*download, State::Downloading{});
            carryOn(*download);
        } else if (makeRoom(*download)) {
            start(*download);
        } else {
            parts_.retries.postpone(*download, waitForRoom);
        }
    }
}

void Runner::reconnect(Download& download) {
    const auto& record = download.record;
    const bool isStarting = record.state.is<State::Starting>();
    const bool isDownloading = record.state.is<State::Downloading>() && record.resumable;
    if (isStarting || isDownloading) {
        parts_.connections.closeAll(download);
    }
    if (download.retry->isPending() && !download.retry->isWordOf(record.url.site())) {
        retried(download.id());
    } else if (isStarting) {
        start(download);
    } else if (isDownloading) {
        carryOn(download);
        if (download.transfers.empty() && download.retry->isPending()) {
            turns_.set(download, State::Wait::retrying);
        }
    }
    if (auto* const growth = download.growth.ifOwn()) {
        growth->interrupt();
    }
}

/// An answer to the old link says nothing of the new one, and a delay that its server asked for isn't for
/// another server.
void Runner::linkChanged(Download& download, const std::optional<std::string>& siteBefore) {
    const auto site = download.record.url.site();
    const bool runs = download.record.state.is<State::Downloading>();
    if (site != siteBefore && !runs) {
        parts_.starter.renew(download);
    } else if (site != siteBefore) {
        download.caps.own().begin(conditions_.siteRule(download.record.url));
        download.growth.own().afresh();
    }
    download.relocating = false;
    download.asksLink = false;
    if (download.record.state.is<State::Starting>()) {
        parts_.connections.closeAll(download);
        start(download);
    } else if (runs) {
        parts_.connections.closeIf(download,
                                   [](const Active& active) { return !active.offset || active.comparison; });
    }
    if (site != siteBefore) { // which may have a rule, or be full
        parts_.connections.trim(download);
        parts_.connections.relieveServers();
    }
    if (download.retry->isPending() && !download.retry->isWordOf(site)) {
        retried(download.id());
    }
}

} // namespace fluvane
