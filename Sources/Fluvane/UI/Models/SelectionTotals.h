// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadManager.h"

#include <cstdint>
#include <vector>

namespace fluvane {

/// Several downloads taken together. Sums stop at the biggest number there is: servers and lists may claim
/// any size.
struct SelectionTotals {
    std::int64_t count = 0;
    std::int64_t done = 0; ///< Bytes, of those whose size is known.
    std::int64_t size = 0; ///< The same.
    std::int64_t unknownSizes = 0;
    std::int64_t running = 0;
    double speed = 0; ///< Bytes per second.

    /// Numbers that name no download are passed over.
    [[nodiscard]] static SelectionTotals of(const DownloadManager& manager,
                                            const std::vector<DownloadID>& ids);
};

} // namespace fluvane
