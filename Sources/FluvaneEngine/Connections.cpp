// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Connections.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace fluvane {

using Active = Download::Active;

namespace {

/// Bytes per second of each connection, below which a speed limit makes connections look slow.
constexpr std::int64_t slowestLimit = 64 * 1024;
/// How far apart connections write where files have no holes: the system fills what lies between with zeros
/// before a connection's first byte is written.
constexpr std::int64_t solidStride = 8LL * 1024 * 1024;
constexpr int unansweredAreRefused = 2; ///< One may be an accident.
constexpr int mostScouts = 3;
constexpr double strayPatience = 10; ///< Seconds for an answer that no piece waits for.

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

Connections::Connections(std::shared_ptr<HTTPTransport> transport, std::shared_ptr<Scheduler> scheduler,
                         const DownloadList& list, const Conditions& conditions, ServerCounts& servers,
                         Turns& turns, Events events)
    : transport_(std::move(transport)), scheduler_(std::move(scheduler)), list_(list),
      conditions_(conditions), servers_(servers), turns_(turns), events_(std::move(events)) {}

int Connections::cap(const Download& download) const {
    return download.caps->allowed(conditions_.config.connections);
}

int Connections::aim(const Download& download) const {
    if (!download.record.resumable) {
        return 1;
    }
    const int starting = conditions_.tuning.startingConnections;
    return download.growth->aim(isOutdone(download) ? std::min(cap(download), starting) : cap(download));
}

/// Whether another one is prioritized: what comes back from a retry or is admitted meanwhile doesn't compete.
bool Connections::isOutdone(const Download& download) const {
    return std::ranges::any_of(list_, [&](const auto& other) {
        return other.get() != &download && other->isPrioritized() && other->record.state.isActive();
    });
}

/// How many it may have open at the moment.
int Connections::want(const Download& download) const {
    if (download.relocating) {
        return std::min(aim(download), download.writing() + (download.retry->isPending() ? 0 : 1));
    }
    return download.retry->isPending() ? std::min(aim(download), download.caps->proven()) : aim(download);
}

// Opening

void Connections::fill(Download& download) {
    const bool runs = download.record.state.is<DownloadState::Downloading>() && download.file;
    if (!runs || download.transfers.contains(Download::noPiece)) {
        return;
    }
    const bool isPromised = download.parts == Download::Parts::promised;
    if (isPromised && !download.transfers.empty()) {
        openScout(download);
        return;
    }
    while (transfersOf(download) < want(download) && openOne(download) && !isPromised) {
    }
}

void Connections::replace(Download& download) {
    const auto first = nextToken_;
    fill(download);
    for (auto& [start, active] : download.transfers) {
        active.replaces = active.replaces || active.token >= first;
    }
}

bool Connections::mayOpen(const Download& download) {
    if (connectionsTo(download.record.url.site()) < conditions_.config.connectionsPerServer) {
        return true;
    }
    // Of a prioritized download the first connection alone gets past a full server.
    if (!download.transfers.empty() || !download.isPrioritized()) {
        return false;
    }
    static_cast<void>(makeRoom(download));
    return true;
}

bool Connections::openOne(Download& download) {
    if (!mayOpen(download)) {
        return false;
    }
    const auto work = nextWork(download);
    if (!work) {
        return false;
    }
    if (const auto* const idle = std::get_if<planner::IdlePiece>(&*work)) {
        startPiece(download, idle->start);
    } else {
        const auto& second = std::get<planner::Split>(*work);
        log::downloads([&] {
            return fmt::format("download {}: a connection takes over the second half of piece {}",
                               download.id(), download.pieceLabel(second.start));
        });
        split(download, second.start, second.at);
        startPiece(download, second.at);
    }
    return true;
}

std::optional<planner::Work> Connections::nextWork(Download& download) {
    const bool fromFront = download.file && !download.file->isSparse();
    if (fromFront) {
        planner::joinComplete(download.record.pieces, busyPieces(download));
    }
    const auto next = [&] {
        return planner::nextWork(download.record.pieces, busyPieces(download),
                                 conditions_.tuning.minimumPiece,
                                 fromFront ? std::optional(solidStride) : std::nullopt);
    };
    const auto work = next();
    return work || !takeFromSlow(download, true) ? work : next();
}

void Connections::split(Download& download, std::int64_t start, std::int64_t at) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, start).value();
    const Piece rest{.start = at, .end = pieces[index].end, .done = 0};
    pieces[index].end = at;
    pieces.insert(pieces.begin() + static_cast<std::ptrdiff_t>(index) + 1, rest);
    download.transfers.at(start).transfer->setEnd(at);
}

/// A server may promise parts and send the whole file to every request. Until it has sent one, the connection
/// that fetches the whole file keeps its end, and another one asks for the second half.
void Connections::openScout(Download& download) {
    const bool mayAsk = transfersOf(download) == 1 && aim(download) > 1 && !download.retry->isPending() &&
                        download.scouts < mostScouts;
    const auto work = mayAsk && mayOpen(download) ? nextWork(download) : std::nullopt;
    const auto* const half = work ? std::get_if<planner::Split>(&*work) : nullptr;
    if (half) {
        ++download.scouts;
        request(download, Piece{.start = half->at, .end = download.record.size, .done = 0});
    }
}

void Connections::startPiece(Download& download, std::int64_t start) {
    const auto& pieces = download.record.pieces;
    request(download, pieces[indexStarting(pieces, start).value()]);
}

void Connections::request(Download& download, const Piece& piece) {
    const auto& record = download.record;
    TransferRequest request{
        .url = download.address(),
        .from = piece.next(),
        .referrer = record.referrer,
        .session = download.session,
        .label = fmt::format("download {}, piece {}", record.id, download.pieceLabel(piece.start))};
    if (piece.end) {
        request.to = checkedSubtract(*piece.end, 1);
    }
    // Another server of the same file may have other tags, and some answer If-Range with the whole file:
    // where that would mislead, the answer's tags are looked at alone.
    const bool isStrict =
        !download.withoutIfRange && !download.relocating && download.parts == Download::Parts::proven;
    if (record.validators && isStrict) {
        request.ifRange = record.validators->ifRange();
    }
    this->start(download, {.start = piece.start, .asked = piece.end}, std::move(request));
}

void Connections::compare(Download& download) {
    const auto& record = download.record;
    const auto longest = std::ranges::max_element(record.pieces, {}, &Piece::done);
    const auto count = std::min(longest->done, planner::alignment);
    const auto from = checkedSubtract(longest->next(), count);
    start(download,
          {.start = Download::noPiece,
           .acceptedAt = from,
           .asked = longest->next(),
           .comparison = std::make_shared<Comparison>(download.file)},
          TransferRequest{.url = record.url,
                          .from = from,
                          .to = checkedSubtract(longest->next(), 1),
                          .referrer = record.referrer,
                          .session = download.session,
                          .label = fmt::format("download {}, comparison", record.id)});
}

void Connections::probe(Download& download) {
    const auto& record = download.record;
    start(download, {.start = 0, .isProbe = true},
          TransferRequest{.url = record.url,
                          .from = 0,
                          .referrer = record.referrer,
                          .session = download.session,
                          .label = fmt::format("download {}, probe", record.id)});
}

void Connections::start(Download& download, Active active, TransferRequest request) {
    active.token = std::exchange(nextToken_, Token{checkedAdd(static_cast<std::int64_t>(nextToken_), 1)});
    active.pace = Pace(scheduler_->now());
    active.url = request.url;
    request.group = number(download.id());
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

void Connections::closeIf(Download& download, const std::function<bool(const Active&)>& condition) {
    std::vector<Token> tokens;
    for (const auto& [start, active] : download.transfers) {
        if (condition(active)) {
            tokens.push_back(active.token);
        }
    }
    for (const auto token : tokens) {
        close(download, token);
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

// Slow connections

void Connections::rescue(Download& download) {
    const auto now = scheduler_->now();
    rescue::watch(download, now);
    closeIf(download, [&](const Active& active) {
        return !active.isProbe && !download.pieceOf(active) && active.pace.silence(now) >= strayPatience;
    });
    if (takeFromSlow(download, false)) {
        fill(download);
    }
}

bool Connections::takeFromSlow(Download& download, bool connectionIsFree) {
    const auto limit = conditions_.config.speedLimit;
    const bool isLimit = limit && *limit < slowestLimit * transfersOf(download);
    const auto cut = isLimit || download.retry->isPending()
                         ? std::nullopt // the limit makes them slow, or nobody could take over
                         : rescue::choose(download, scheduler_->now(), connectionIsFree);
    if (!cut) {
        return false;
    }
    log::downloads([&] {
        return fmt::format("download {}: the rest of piece {} is taken from a slow connection", download.id(),
                           download.pieceLabel(cut->start));
    });
    const int count = ++download.rescues.own()[cut->start];
    if (cut->at) {
        split(download, cut->start, *cut->at);
        download.rescues.own()[*cut->at] = count;
    } else {
        giveUp(download, download.transfers.at(cut->start).token);
    }
    return true;
}

/// Nothing comes over it. One that was never answered may be one more than the server serves.
void Connections::giveUp(Download& download, Token token) {
    const bool wasAnswered = find(download, token)->offset.has_value();
    close(download, token);
    if (!wasAnswered && ++download.unanswered >= unansweredAreRefused) {
        download.caps.own().ignored();
        download.growth.own().cutBack(cap(download));
    }
}

/// The one before asked for these bytes too, if they were taken from it.
void Connections::giveBack(Download& download, std::int64_t start) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, start);
    if (!index || *index == 0 || pieces[*index].done > 0) {
        return;
    }
    const auto rest = pieces[*index];
    Piece& before = pieces[*index - 1];
    const auto slow = download.transfers.find(before.start);
    if (slow == download.transfers.end() || !rest.end || before.end != start ||
        slow->second.asked.value_or(*rest.end) < *rest.end) {
        return;
    }
    before.end = rest.end;
    slow->second.transfer->setEnd(*rest.end);
    pieces.erase(pieces.begin() + static_cast<std::ptrdiff_t>(*index));
}

// What servers allow

void Connections::refused(Download& download, Token token) {
    const Active* const active = find(download, token);
    const auto start = active->start;
    const int asked = transfersOf(download);
    close(download, token);
    giveBack(download, start);
    if (token <= download.refusedUpTo) {
        return; // those that were opened before anything was known of it have the same refusal
    }
    download.refusedUpTo = Token{checkedSubtract(static_cast<std::int64_t>(nextToken_), 1)};
    const bool lasts = download.caps.own().refused(asked, download.writing(), conditions_.config.connections);
    if (lasts && download.writing() > 0) {
        download.growth.own().cutBack(cap(download));
        servers_.refused(download.record.url.site().value_or(""), asked, download.writing());
    }
}

bool Connections::makeRoom(const Download& download) {
    const auto server = download.record.url.site();
    return connectionsTo(server) < conditions_.config.connectionsPerServer || takeConnection(server, false);
}

/// Closes the newest connection of the download that has the most to the server. False if none has several.
bool Connections::takeConnection(const Server& server, bool ofPrioritized) {
    Download* richest = nullptr;
    for (const auto& other : list_) {
        if (transfersOf(*other) > (richest ? transfersOf(*richest) : 1) &&
            other->record.url.site() == server && other->isPrioritized() == ofPrioritized) {
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
        while (connectionsTo(server) > conditions_.config.connectionsPerServer &&
               (takeConnection(server, false) || takeConnection(server, true))) {
        }
    }
}

bool Connections::isFull(const Server& server) const {
    const int most = conditions_.config.connectionsPerServer;
    return connectionsTo(server) >= std::min(most, servers_.most(server.value_or("")).value_or(most));
}

int Connections::connectionsTo(const Server& server) const {
    int connections = 0;
    for (const auto& download : list_) {
        if (download->connectionsTaken() > 0 && download->record.url.site() == server) {
            connections += download->connectionsTaken();
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
    const auto news = checkedSubtract(reached, *active.offset);
    received_ = checkedAdd(received_, news);
    download.received = checkedAdd(download.received, news);
    active.offset = reached;
    piece->setDone(std::max(piece->done, checkedSubtract(reached, piece->start)));
}

void Connections::ended(Download& download, Active& active, std::int64_t written) {
    count(download, active, written);
    const auto start = active.start;
    download.transfers.erase(start);
}

} // namespace fluvane
