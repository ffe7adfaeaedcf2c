// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Planner.h"
#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
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

    Connections(std::shared_ptr<HTTPTransport> transport, const DownloadList& list,
                const Conditions& conditions, Turns& turns, Events events);

    /// The most connections that the download may have.
    [[nodiscard]] int cap(const Download& download) const;
    /// How many it is to have now: one that can't be split has one.
    [[nodiscard]] int aim(const Download& download) const;

    /// Sends the first request of a download.
    void probe(Download& download);
    /// Opens connections until the download has as many as it aims for, its server is full, or no piece is
    /// worth one. Nothing while a retry waits: a connection that ends must not jump the delay that a failure,
    /// maybe the server's own word, has set.
    void fill(Download& download);
    /// Closes the newest ones beyond what it aims for.
    void trim(Download& download);
    /// Closes one. The piece keeps what came.
    void close(Download& download, Token token);
    void closeAll(Download& download);

    /// Whether a first connection may go to the download's server. At a full server the download with the
    /// most connections gives one up for it; the prioritized download needs no room.
    [[nodiscard]] bool makeRoom(const Download& download);
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

    [[nodiscard]] bool openOne(Download& download);
    [[nodiscard]] bool mayOpen(const Download& download);
    void split(Download& download, const planner::Split& split);
    void startPiece(Download& download, std::int64_t start);
    void start(Download& download, Download::Active active, TransferRequest request);
    void closeNewest(Download& download);
    [[nodiscard]] int connectionsTo(const Server& server) const;
    [[nodiscard]] bool takeConnection(const Server& server);

    std::shared_ptr<HTTPTransport> transport_;
    const DownloadList& list_;
    const Conditions& conditions_;
    Turns& turns_;
    Events events_;
    Token nextToken_{1};
    std::int64_t received_ = 0;
};

} // namespace fluvane
