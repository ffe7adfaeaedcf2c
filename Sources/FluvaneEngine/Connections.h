// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Planner.h"
#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Rescue.h"
#include "FluvaneEngine/ServerCounts.h"
#include "FluvaneEngine/Turns.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// Opens and closes the transfers of all downloads, and shares out what a server allows: who gets a
/// connection, which piece it fetches, who gives one up. Closing loses no byte that was written.
class Connections {
public:
    /// What a transfer reports, in a turn of its own.
    using Events = std::function<void(DownloadID, Token, const TransferEvent&)>;

    Connections(std::shared_ptr<HTTPTransport> transport, std::shared_ptr<Scheduler> scheduler,
                const DownloadList& list, const Conditions& conditions, ServerCounts& servers, Turns& turns,
                Events events);

    /// The most connections that the download may have.
    [[nodiscard]] int cap(const Download& download) const;
    /// How many it is to have now: one that can't be split has one.
    [[nodiscard]] int aim(const Download& download) const;

    /// Asks the link for bytes that are there already, to compare them.
    void compare(Download& download);
    /// Sends the first request of a download.
    void probe(Download& download);
    /// Opens connections until the download has as many as it aims for, its server is full, or no piece is
    /// worth one. While a retry waits, only as many as the server was seen to serve: the delay that a
    /// failure, maybe the server's own word, has set is for what goes beyond.
    void fill(Download& download);
    /// The same after a connection ended that had brought something: its successor counts as served.
    void replace(Download& download);
    /// Ends the piece that begins at `start`, and its connection, at `at`; the rest becomes a piece of its
    /// own.
    static void split(Download& download, std::int64_t start, std::int64_t at);
    /// Takes pieces from connections that are far slower than the others. With each beat.
    void rescue(Download& download);
    /// Gives a piece that was taken from another connection, and that no new one can fetch now, back to it.
    void giveBack(Download& download, std::int64_t start);
    /// The server refused this connection for being one too many, for now.
    void refused(Download& download, Token token);
    /// Closes the newest ones beyond what it aims for.
    void trim(Download& download);
    /// Closes one. The piece keeps what came.
    void close(Download& download, Token token);
    void closeAll(Download& download);
    void closeIf(Download& download, const std::function<bool(const Download::Active&)>& condition);

    /// Whether a first connection may go to the download's server. At a full server the download with the
    /// most connections gives one up for it, unless it is prioritized.
    [[nodiscard]] bool makeRoom(const Download& download);
    /// Whether the server has as many connections as it gets or serves.
    [[nodiscard]] bool isFull(const std::optional<std::string>& server) const;
    /// Closes what a lowered cap of the servers no longer allows; a download's only connection stays.
    void relieveServers();

    /// Null when no transfer has the token (anymore).
    [[nodiscard]] static Download::Active* find(Download& download, Token token);
    /// Counts what a transfer has written in all.
    void count(Download& download, Download::Active& active, std::int64_t written);
    /// Forgets one that has ended by itself, having written so much.
    void ended(Download& download, Download::Active& active, std::int64_t written);
    /// Bytes that all downloads received, since the start.
    [[nodiscard]] std::int64_t received() const { return received_; }

private:
    using Server = std::optional<std::string>;

    [[nodiscard]] bool isOutdone(const Download& download) const;
    [[nodiscard]] int want(const Download& download) const;
    [[nodiscard]] bool openOne(Download& download);
    [[nodiscard]] std::optional<planner::Work> nextWork(Download& download);
    [[nodiscard]] bool takeFromSlow(Download& download, bool connectionIsFree);
    void giveUp(Download& download, Token token);
    void openScout(Download& download);
    [[nodiscard]] bool mayOpen(const Download& download);
    void startPiece(Download& download, std::int64_t start);
    void request(Download& download, const Piece& piece);
    void start(Download& download, Download::Active active, TransferRequest request);
    void closeNewest(Download& download);
    [[nodiscard]] int connectionsTo(const Server& server) const;
    [[nodiscard]] bool takeConnection(const Server& server, bool ofPrioritized);

    std::shared_ptr<HTTPTransport> transport_;
    std::shared_ptr<Scheduler> scheduler_;
    const DownloadList& list_;
    const Conditions& conditions_;
    ServerCounts& servers_;
    Turns& turns_;
    Events events_;
    Token nextToken_{1};
    std::int64_t received_ = 0;
};

} // namespace fluvane
