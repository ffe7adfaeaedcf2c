// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"

#include <cstdint>

namespace fluvane {

/// The same for equal records. That of another is another, but for one case in 2^64. For this process alone.
[[nodiscard]] std::uint64_t digest(const DownloadRecord& record);

} // namespace fluvane
