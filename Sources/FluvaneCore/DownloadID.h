// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>

namespace fluvane {

/// The number of a download: unique within the list, never given twice, 1 or more. A type of its own, so that
/// it is never taken for another number.
enum class DownloadID : std::int64_t {};

/// As stored, shown and typed.
[[nodiscard]] constexpr std::int64_t number(DownloadID id) {
    return static_cast<std::int64_t>(id);
}

/// For fmt.
[[nodiscard]] constexpr std::int64_t format_as(DownloadID id) {
    return number(id);
}

} // namespace fluvane
