// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/Speed.h"
#include "FluvaneEngine/Claim.h"
#include "FluvaneEngine/Comparison.h"
#include "FluvaneEngine/ConnectionCaps.h"
#include "FluvaneEngine/Growth.h"
#include "FluvaneEngine/OnDemand.h"
#include "FluvaneEngine/Pace.h"
#include "FluvaneEngine/Platform.h"
#include "FluvaneEngine/Retry.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// One running transfer. Later ones have greater tokens; an event with a token that nobody has is dropped.
enum class Token : std::int64_t {};

/// One entry of the list: its record and what it holds while it runs, each in the hands of one part of the
/// engine. Engine context only. Everything but the engine reads it through the const members.
class Download {
public:
    /// One running transfer.
    struct Active {
        std::int64_t start; ///< Of its piece.
        std::shared_ptr<Transfer> transfer{};
        Token token{};
        bool isProbe = false;
        /// The file offset this transfer has written up to, as it last reported; absent before the body
        /// flows.
        std::optional<std::int64_t> offset{};
        std::int64_t acceptedAt = 0;         ///< The offset its byte counts are counted from.
        std::optional<std::int64_t> asked{}; ///< Exclusive end of what it asked for; absent: all.
        bool replaces = false; ///< One that had brought something: the server serves it as it did that.
        Pace pace{};
        std::optional<URL> url{};                 ///< Asked.
        std::shared_ptr<Comparison> comparison{}; ///< It fetches nothing new.

        /// Lets the body flow into the file, from `at` to the piece's end.
        void accept(const std::shared_ptr<PieceFile>& into, std::int64_t at, const Piece& piece);
        /// The offset it has written up to, reported or not; absent before the body flows.
        [[nodiscard]] std::optional<std::int64_t> reached() const;
        /// Whether it brings bytes, or can be taken to.
        [[nodiscard]] bool isServed() const { return offset.has_value() || replaces; }
    };
    using Transfers = std::map<std::int64_t, Active>; ///< By the start of their piece.

    /// What is known of whether the server sends parts.
    enum class Parts { proven, promised };

    /// The key of a transfer that fetches no piece.
    static constexpr std::int64_t noPiece = -1;

    explicit Download(DownloadRecord record_) : record(std::move(record_)) {}

    [[nodiscard]] DownloadID id() const { return record.id; }
    [[nodiscard]] double speed() const { return meter->bytesPerSecond(); }
    /// Running transfers that aren't the probe.
    [[nodiscard]] int connections() const;
    /// What it takes of its server's connections: the probe, and the one that it opens when its file is open.
    [[nodiscard]] int connectionsTaken() const;
    /// The record's pieces with what running transfers have written so far folded in.
    [[nodiscard]] std::vector<Piece> livePieces() const;
    [[nodiscard]] std::int64_t liveBytes() const;
    /// Where its pieces are asked for: where the link led to, until that refuses.
    [[nodiscard]] const URL& address() const {
        return record.finalURL && !relocating && !asksLink ? *record.finalURL : record.url;
    }
    /// Names a piece for the log.
    [[nodiscard]] std::string pieceLabel(std::int64_t offset) const;
    [[nodiscard]] bool isPrioritized() const { return record.prioritized.value_or(false); }
    /// Taken off the list, but it can still be brought back: it goes on no further, and nobody sees it.
    [[nodiscard]] bool isRemoved() const { return record.removed.value_or(false); }
    /// Connections that bring bytes.
    [[nodiscard]] int writing() const;
    /// The same with those that take the place of one that did.
    [[nodiscard]] int served() const;
    /// How often a piece was taken from a slow connection.
    [[nodiscard]] int rescuesOf(std::int64_t start) const;
    /// Whether nothing is left to fetch, and nothing under way.
    [[nodiscard]] bool hasEverything() const;

    /// Brings the piece of a transfer up to what was written.
    void foldIn(const Active& active);
    /// The piece that a transfer fetches; null when there is none anymore.
    [[nodiscard]] Piece* pieceOf(const Active& active);
    /// New pieces, of which nothing is on disk.
    void layOut(std::vector<Piece> pieces);
    /// What was learned of its server counts for nothing: it goes on no further.
    void forgetRun();
    /// Feeds the meter; returns the bytes that it has so far.
    std::int64_t measure(double now);

    DownloadRecord record;
    Transfers transfers;             ///< `Connections` opens and closes them.
    std::shared_ptr<PieceFile> file; ///< The unfinished one while it is open.
    /// The unfinished one while it is checked and moved: held open, so that no other file gets its identity.
    std::shared_ptr<PieceFile> written;
    OnDemand<SpeedMeter> meter;
    std::optional<double> secondsLeft;

    Claim claim;
    OnDemand<Retry> retry;
    OnDemand<ConnectionCaps> caps;
    OnDemand<Growth> growth;
    Parts parts = Parts::proven;
    int scouts = 0; ///< Times that a part was asked for to see whether the promise is kept.
    /// The address refused: the link is asked where else it leads, by one connection.
    bool relocating = false;
    int misdirections = 0; ///< Addresses that refused since a piece came from one.
    bool asksLink = false; ///< Its addresses are good for one request: the link is asked for each piece.
    std::optional<double> usualSpeed;              ///< Of one connection among several, bytes per second.
    OnDemand<std::map<std::int64_t, int>> rescues; ///< By the start of the piece.
    int unanswered = 0;  ///< Connections given up without an answer, since one was answered.
    Token refusedUpTo{}; ///< Connections up to this one belong to a refusal that was dealt with.
    bool allowedOnLimitedNetwork = false;
    int percentMoved = -1;       ///< Of its file, while that is copied to another disk; below 0: it isn't.
    bool isMoving = false;       ///< Its file is on the way to another place: it goes on only from there.
    bool hadFile = false;        ///< Its unfinished file was created or opened in this run.
    bool goesOnByItself = false; ///< After a start, without anybody having asked for it since.
    /// The server drops ranges that come with If-Range, though the file is the same.
    bool withoutIfRange = false;
    std::int64_t operation = 0; ///< The work of its disk that it waits for; a late one is dropped by this.
    std::optional<std::uint64_t> device; ///< Of its unfinished file, once known.
    std::int64_t received = 0;           ///< Bytes that its connections have told of.
    SharedSession session;               ///< Null for most.
    double spaceDelay = 0;               ///< Seconds until it is looked again whether there is room.
};

} // namespace fluvane
