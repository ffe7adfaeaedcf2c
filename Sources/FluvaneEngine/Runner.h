// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Answers.h"
#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Connections.h"
#include "FluvaneEngine/DiskSpace.h"
#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Finisher.h"
#include "FluvaneEngine/GrowthControl.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/Retries.h"
#include "FluvaneEngine/Starter.h"
#include "FluvaneEngine/Turns.h"
#include "TessivarPhrases/Phrases.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// The parts that run a download; each decides one thing.
struct RunnerParts {
    ListSaver& saver;
    Connections& connections;
    GrowthControl& growth;
    Starter& starter;
    Retries& retries;
    Finisher& finisher;
    DiskSpace& space;
    DiskWork& disk;
};

/// Runs the downloads that were admitted: leads each from its first request to its last byte, and judges what
/// its connections report.
class Runner {
public:
    Runner(const DownloadList& list, const Conditions& conditions, Turns& turns, RunnerParts parts,
           std::shared_ptr<Notifier> notifier, std::shared_ptr<Scheduler> scheduler,
           std::function<Date()> today);

    /// Begins an admitted download as a new run.
    void begin(Download& download);
    /// Whether a first connection may go to the download's server. At a server that is full of only
    /// connections the newest download gives its up for the prioritized one, and waits in line.
    [[nodiscard]] bool makeRoom(const Download& download);
    /// Closes all that it has open. Its state is the caller's.
    void halt(Download& download);
    /// Closes its connections and its file, which is about to be moved; that is returned, if it was open. Its
    /// state stays, and retries wait for `goOn`.
    [[nodiscard]] std::shared_ptr<PieceFile> release(Download& download);
    /// Carries on with one whose file was moved, or stayed, if it runs.
    void goOn(Download& download);
    /// Gives running downloads the connections that a full server or an earlier stop kept from them.
    void fillAll();
    /// Opens its connections anew, and tries at once what waits for a retry. One that couldn't carry on keeps
    /// its connection.
    void reconnect(Download& download);
    /// Takes pieces from connections that are far slower than the others. With each beat.
    void rescue();
    /// It has another link now; `siteBefore` being that of the old one.
    void linkChanged(Download& download, const std::optional<std::string>& siteBefore);
    /// Ends it with a sentence for the user; with `discard` what it has is deleted.
    void fail(Download& download, const std::string& sentence, bool discard = false);

    /// From `Connections`.
    void received(DownloadID id, Token token, const TransferEvent& event);
    /// From `Retries`.
    void retried(DownloadID id);

private:
    using Active = Download::Active;
    static constexpr const char* stoppedSendingParts =
        tessivar::markedIn("kept", "The server stopped sending parts of the file.");

    void start(Download& download);
    void startAfresh(Download& download);
    void create(Download& download, Token token, const TransferResponse& response);
    void waitForSpace(Download& download, const std::optional<DiskSpace::Shortage>& shortage);
    void carryOn(Download& download);
    void complete(Download& download);
    void progressed(Download& download);
    void probeAnswered(Download& download, Token token, const TransferResponse& response);
    void pieceAnswered(Download& download, Active& active, const TransferResponse& response);
    void scoutAnswered(Download& download, Active& active, const TransferResponse& response);
    [[nodiscard]] bool mayLeadElsewhere(Download& download, const URL& asked);
    void misdirected(Download& download, const TransferResponse& response);
    void mirrorAnswered(Download& download, Active& active, const TransferResponse& response);
    void comparisonAnswered(Download& download, Active& active, const TransferResponse& response);
    void compared(Download& download, const Comparison& comparison);
    void compareOrMove(Download& download);
    void moved(Download& download, const TransferResponse& response);
    void onlyWhole(Download& download, bool isUnderWay);
    void restAnswered(Download& download, const TransferResponse& response);
    void startOver(Download& download);
    void partAnswered(Download& download, Active& active, const TransferResponse& response);
    void wholeFileAnswered(Download& download, Token token, const TransferResponse& response);
    void ended(Download& download, std::int64_t start, std::int64_t brought);
    void brokeOff(Download& download, const TransferError& error, std::int64_t start, std::int64_t brought);
    void learnSize(Download& download, Piece& onlyPiece);
    void goOnWithout(Download& download);

    [[nodiscard]] bool refused(Download& download, Token token, const TransferResponse& response,
                               answers::Request request);
    void busy(Download& download, const TransferResponse& response);
    void linkExpired(Download& download, const char* why = "the link was refused mid-download");
    void fileChanged(Download& download);
    void failed(Download& download, const TransferError& error, std::optional<double> retryAfter = {});

    const DownloadList& list_;
    const Conditions& conditions_;
    Turns& turns_;
    RunnerParts parts_;
    std::shared_ptr<Notifier> notifier_;
    std::shared_ptr<Scheduler> scheduler_;
    std::function<Date()> today_;
};

} // namespace fluvane
