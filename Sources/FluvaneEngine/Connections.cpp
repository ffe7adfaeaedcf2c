// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Connections.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using Active = Download::Active;

namespace {

int transfersOf(const Download& download) {
    return static_cast<int>(download.transfers.size());
}

/// How far each piece that is being fetched has got.
planner::Busy busyPieces(const Download& download) {
    planner::Busy busy;
    for (const auto& [start, active] : download.transfers) {
        busy[start] = std::max(start, active.reached().value_or(start));
    }
    return busy;
}

} // namespace

Connections::Connections(std::shared_ptr<HTTPTransport> transport, const DownloadList& list,
                         const Conditions& conditions, Turns& turns, Events events)
    : transport_(std::move(transport)), list_(list), conditions_(conditions), turns_(turns),
      events_(std::move(events)) {}

int Connections::cap(const Download& download) const {
    return download.caps.allowed(conditions_.config.connections);
}

int Connections::aim(const Download& download) const {
    return download.record.resumable ? download.growth.aim(cap(download)) : 1;
}

// Opening

void Connections::fill(Download& download) {
    const bool runs = download.record.state.is<DownloadState::Downloading>() && download.file;
    if (!runs || download.retry.isPending()) {
        return;
    }
    while (transfersOf(download) < aim(download) && openOne(download)) {
    }
}

bool Connections::mayOpen(const Download& download) {
    if (connectionsTo(download.record.url.site()) < conditions_.config.connectionsPerServer) {
        return true;
    }
    // Of a prioritized download the first connection alone gets past a full server.
    return download.transfers.empty() && download.isPrioritized() && makeRoom(download);
}

bool Connections::openOne(Download& download) {
    if (!mayOpen(download)) {
        return false;
    }
    const auto work =
        planner::nextWork(download.record.pieces, busyPieces(download), conditions_.tuning.minimumPiece);
    if (!work) {
        return false;
    }
    if (const auto* const idle = std::get_if<planner::IdlePiece>(&*work)) {
        startPiece(download, idle->start);
    } else {
        const auto& second = std::get<planner::Split>(*work);
        split(download, second);
        startPiece(download, second.at);
    }
    return true;
}

void Connections::split(Download& download, const planner::Split& split) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, split.start).value();
    log::downloads([&] {
        return fmt::format("download {}: a connection takes over the second half of piece {}", download.id(),
                           download.pieceLabel(split.start));
    });
    const Piece rest{.start = split.at, .end = pieces[index].end, .done = 0};
    pieces[index].end = split.at;
    pieces.insert(pieces.begin() + static_cast<std::ptrdiff_t>(index) + 1, rest);
    download.transfers.at(split.start).transfer->setEnd(split.at);
}

void Connections::startPiece(Download& download, std::int64_t start) {
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
    this->start(download, {.start = start}, std::move(request));
}

void Connections::probe(Download& download) {
    const auto& record = download.record;
    start(download, {.start = 0, .isProbe = true},
          TransferRequest{.url = record.url,
                          .from = 0,
                          .referrer = record.referrer,
                          .label = fmt::format("download {}, probe", record.id)});
}

void Connections::start(Download& download, Active active, TransferRequest request) {
    active.token = std::exchange(nextToken_, Token{checkedAdd(static_cast<std::int64_t>(nextToken_), 1)});
    active.transfer = transport_->start(
        std::move(request), turns_.later([this, id = download.id(), token = active.token](
                                             const TransferEvent& event) { events_(id, token, event); }));
    download.transfers.insert_or_assign(active.start, std::move(active));
}

// Closing

Active* Connections::find(Download& download, Token token) {
    const auto entry = std::ranges::find(download.transfers, token,
                                         [](const auto& candidate) { return candidate.second.token; });
    return entry == download.transfers.end() ? nullptr : &entry->second;
}

void Connections::close(Download& download, Token token) {
    Active* const active = find(download, token);
    if (!active) {
        return;
    }
    active->transfer->cancel(); // first, so that the position is its last
    download.foldIn(*active);
    const auto start = active->start;
    download.transfers.erase(start);
}

void Connections::closeAll(Download& download) {
    while (!download.transfers.empty()) {
        close(download, download.transfers.begin()->second.token);
    }
}

void Connections::closeNewest(Download& download) {
    const auto newest = std::ranges::max_element(download.transfers, {},
                                                 [](const auto& entry) { return entry.second.token; });
    close(download, newest->second.token);
}

void Connections::trim(Download& download) {
    while (transfersOf(download) > aim(download)) {
        closeNewest(download);
    }
}

// What servers allow

bool Connections::makeRoom(const Download& download) {
    const auto server = download.record.url.site();
    return connectionsTo(server) < conditions_.config.connectionsPerServer || takeConnection(server) ||
           download.isPrioritized();
}

/// Closes the newest connection of the download that has the most to the server. False if none has several.
bool Connections::takeConnection(const Server& server) {
    Download* richest = nullptr;
    for (const auto& other : list_) {
        if (transfersOf(*other) > (richest ? transfersOf(*richest) : 1) &&
            other->record.url.site() == server) {
            richest = other.get();
        }
    }
    if (richest) {
        closeNewest(*richest);
    }
    return richest != nullptr;
}

void Connections::relieveServers() {
    for (const auto& download : list_) {
        const auto server = download->record.url.site();
        while (connectionsTo(server) > conditions_.config.connectionsPerServer && takeConnection(server)) {
        }
    }
}

int Connections::connectionsTo(const Server& server) const {
    int connections = 0;
    for (const auto& download : list_) {
        if (!download->transfers.empty() && download->record.url.site() == server) {
            connections += transfersOf(*download);
        }
    }
    return connections;
}

// What comes in

void Connections::count(Download& download, Active& active, std::int64_t written) {
    Piece* const piece = download.pieceOf(active);
    if (!active.offset || !piece) {
        return; // nothing was accepted yet
    }
    const auto reached = std::max(*active.offset, checkedAdd(active.acceptedAt, written));
    received_ = checkedAdd(received_, checkedSubtract(reached, *active.offset));
    active.offset = reached;
    piece->setDone(std::max(piece->done, checkedSubtract(reached, piece->start)));
}

void Connections::ended(Download& download, Active& active, std::int64_t written) {
    count(download, active, written);
    const auto start = active.start;
    download.transfers.erase(start);
}

} // namespace fluvane
