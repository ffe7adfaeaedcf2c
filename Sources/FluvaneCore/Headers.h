// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fluvane {

/// The readers of response header values. None of them fails: an unreadable value is absent.

/// What part of the file a partial response carries. Offsets in bytes, `last` inclusive.
struct ContentRange {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::optional<std::int64_t> total; ///< Absent when the server sent "*".

    [[nodiscard]] static std::optional<ContentRange> parse(std::string_view header);
    /// The length named by "bytes */length", the form that comes with a refused range.
    [[nodiscard]] static std::optional<std::int64_t> unsatisfiedTotal(std::string_view header);

    friend bool operator==(const ContentRange&, const ContentRange&) = default;
};

namespace contentDisposition {
/// The file name a server suggests, as sent: not yet safe for the disk.
[[nodiscard]] std::optional<std::string> fileName(std::string_view header);
} // namespace contentDisposition

namespace retryAfter {
/// The longest wait taken from a server, in seconds: a year, also for "inf" and numbers beyond measure.
inline constexpr double longest = 365.0 * 24 * 60 * 60;

/// Seconds to wait, from 0 to `longest`; `value` is a number of seconds or an HTTP date in GMT.
[[nodiscard]] std::optional<double> delay(std::string_view value, Date now);
} // namespace retryAfter

/// What identifies one version of a file on a server, verbatim from its headers.
struct Validators {
    std::optional<std::string> etag;
    std::optional<std::string> lastModified;

    /// The value of an If-Range header; a weak tag cannot be one.
    [[nodiscard]] std::optional<std::string> ifRange() const;
    [[nodiscard]] bool isEmpty() const { return !etag && !lastModified; }
    /// True only when the two are known to describe different versions.
    [[nodiscard]] bool differ(const Validators& other) const;

    friend bool operator==(const Validators&, const Validators&) = default;
};

} // namespace fluvane
