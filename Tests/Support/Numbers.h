// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadID.h"

namespace fluvane::support {

/// 1_id is the download with the number 1.
[[nodiscard]] constexpr DownloadID operator""_id(unsigned long long number) {
    return DownloadID{static_cast<std::int64_t>(number)};
}

} // namespace fluvane::support
