// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace fluvane {

/// A contiguous span of the file, fetched over one connection and written in place. `start` is its identity
/// within a download. Offsets and counts are bytes; their arithmetic is checked.
struct Piece {
    std::int64_t start = 0;
    std::optional<std::int64_t> end; ///< One past the last byte; absent when the stream's length is unknown.
    std::int64_t done = 0;           ///< Bytes already written, counted from `start`.

    [[nodiscard]] std::int64_t next() const; ///< Offset of the next byte to fetch.
    [[nodiscard]] std::optional<std::int64_t> length() const;
    [[nodiscard]] std::optional<std::int64_t> remaining() const; ///< Never below 0.
    [[nodiscard]] bool isComplete() const;
    /// Stores `n`, at most the piece's length and at least 0.
    void setDone(std::int64_t n);

    friend bool operator==(const Piece&, const Piece&) = default;
};

[[nodiscard]] std::int64_t doneBytes(const std::vector<Piece>& pieces);
/// False for an empty list: a download without pieces is never taken for finished.
[[nodiscard]] bool allComplete(const std::vector<Piece>& pieces);
[[nodiscard]] std::optional<std::size_t> indexStarting(const std::vector<Piece>& pieces, std::int64_t start);

} // namespace fluvane
