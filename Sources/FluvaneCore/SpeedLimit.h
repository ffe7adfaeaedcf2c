// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// A speed limit as people type it, in MB/s: the one place where that is read, and written to be changed.
namespace fluvane::speedLimit {

/// Bytes per second of "5", "0.5" or "0,5"; absent when the text is no speed. What 64 bits don't hold is as
/// good as the most they do.
[[nodiscard]] std::optional<std::int64_t> parsed(std::string_view text);
/// The shortest text that `parsed` turns into this many bytes per second; 0 and more.
[[nodiscard]] std::string typed(std::int64_t bytesPerSecond);

} // namespace fluvane::speedLimit
