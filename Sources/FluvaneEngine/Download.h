// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/Speed.h"
#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// One entry of the list: its record and what it holds while it runs. Owned by the manager; engine context
/// only. Everything but the manager reads it through the const members.
class Download {
public:
    /// One running transfer.
    struct Active {
        std::shared_ptr<Transfer> transfer;
        std::int64_t token = 0;
        bool isProbe = false;
        /// The file offset this transfer has written up to, as it last reported; absent before the body
        /// flows.
        std::optional<std::int64_t> offset{};
        std::int64_t acceptedAt = 0; ///< The offset its byte counts are counted from.
    };

    explicit Download(DownloadRecord record_) : record(std::move(record_)) {}

    [[nodiscard]] DownloadID id() const { return record.id; }
    [[nodiscard]] double speed() const { return meter.bytesPerSecond(); }
    /// Running transfers that aren't the probe.
    [[nodiscard]] int connections() const;
    /// The record's pieces with what running transfers have written so far folded in.
    [[nodiscard]] std::vector<Piece> livePieces() const;
    [[nodiscard]] std::int64_t liveBytes() const;
    /// Names a piece for the log.
    [[nodiscard]] std::string pieceLabel(std::int64_t offset) const;
    [[nodiscard]] bool isPrioritized() const { return record.prioritized.value_or(false); }

    DownloadRecord record;
    std::optional<double> secondsLeft;
    std::map<std::int64_t, Active> transfers; ///< By the start of their piece.
    std::shared_ptr<PieceFile> file;
    SpeedMeter meter;
    std::shared_ptr<Cancellable> retry;
    std::string retryReason; ///< The sentence of the failure that `retry` is for.
    double retryAt = 0;      ///< When `retry` is due, by the scheduler; meaningful while it is set.
    int failures = 0;        ///< In a row.
    int connectionCap = std::numeric_limits<int>::max();
    int target = 2;

    /// How the growth of connections is measured.
    struct Window {
        double time;
        std::int64_t bytes; ///< This download's.
        std::int64_t total; ///< All downloads'.
    };
    std::optional<int> previousTarget;
    bool growing = true;
    std::optional<double> lastRate;      ///< Bytes per second.
    std::optional<double> lastTotalRate; ///< Of all downloads.
    std::optional<Window> window;
    std::optional<std::int64_t> lastLive;

    bool allowedOnLimitedNetwork = false;
    /// The server drops ranges that come with If-Range, though the file is the same.
    bool withoutIfRange = false;
    std::optional<int> capBeforeWholeFile; ///< To go back to once the server sends parts again.
    int offlineFailures = 0;               ///< In a row; they never end a download.
    std::int64_t bytesAtFailure = 0;       ///< Done when the last failure was counted.
    std::int64_t operation = 0; ///< The digest or move it waits for; a late one is dropped by this.

    /// The pieces as far as their bytes are known to be on stable storage, which is all that the saved list
    /// may claim; absent when `record.pieces` are.
    std::optional<std::vector<Piece>> durable;
    std::int64_t pieceGeneration = 0; ///< Counts the times the pieces were laid out anew.
    bool distrusted = false;          ///< A sync failed: `durable` gets no further with this file.
    RecordSnapshot saved;             ///< The record as last handed to the store.
};

} // namespace fluvane
