// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The wording of a download's details, beyond what fits its line in the list.
namespace fluvane::words {

/// What a person can do about a download that needs attention; empty where there is nothing to do, or where
/// the words of its state say it already.
[[nodiscard]] std::string advice(const DownloadRecord& record);
/// Whether another folder may be the way out of what went wrong, or of what it waits for.
[[nodiscard]] bool isCuredElsewhere(const DownloadRecord& record);
/// Whether a pause keeps what is downloaded; empty once that no longer matters.
[[nodiscard]] std::string resumability(const DownloadRecord& record);
/// How the checksum stands: "Checked once every byte is in", "Checking the finished file", "Matches". Empty
/// without a checksum.
[[nodiscard]] std::string checksumStanding(const DownloadRecord& record);
/// "1,234,567 bytes"
[[nodiscard]] std::string exactBytes(std::int64_t count);

/// One piece as it is told; `number` from 1.
struct PieceProgress {
    std::size_t number = 1;
    std::int64_t done = 0;                ///< Bytes.
    std::optional<std::int64_t> length{}; ///< Bytes.
    std::optional<int> connection{};      ///< The number of the one that brings it.
    double bytesPerSecond = 0;
};
/// "Piece 3: 12 MB of 50 MB, connection 2, 1.2 MB/s", "Piece 3: 50 MB, done"
[[nodiscard]] std::string piece(const PieceProgress& progress);
/// "8 pieces, 3 of them done"
[[nodiscard]] std::string pieces(std::size_t count, std::size_t done);
/// "50 MB to 100 MB"; without an end "from 50 MB on".
[[nodiscard]] std::string span(std::int64_t start, std::optional<std::int64_t> end);

/// "Now 5 MB/s, at most 12 MB/s in the last 5 minutes"; without a speed for now only the latter.
[[nodiscard]] std::string speeds(std::optional<double> now, double most, int minutes);

/// Bytes of several downloads, `done` and `size` of those whose size is known.
struct Sizes {
    std::int64_t done;
    std::int64_t size;
    std::int64_t unknownSizes; ///< Downloads.
};
/// "1.2 GB of 3 GB, and 2 whose size isn't known yet".
[[nodiscard]] std::string together(const Sizes& sizes);

} // namespace fluvane::words
