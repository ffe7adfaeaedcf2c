// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/SelectionTotals.h"

#include "FluvaneEngine/Abilities.h"

#include <algorithm>
#include <limits>

namespace fluvane {

namespace {

std::int64_t capped(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, std::max<std::int64_t>(b, 0), &sum)
               ? std::numeric_limits<std::int64_t>::max()
               : sum;
}

void add(SelectionTotals& totals, const Download& download) {
    const auto& record = download.record;
    // A finished file may have been listed without its pieces.
    const bool finished = record.state.is<DownloadState::Finished>();
    const std::int64_t done = finished && record.size ? *record.size : download.liveBytes();
    const bool known = record.size && *record.size >= 0;
    ++totals.count;
    totals.done = capped(totals.done, known ? done : 0);
    totals.size = capped(totals.size, known ? *record.size : 0);
    totals.unknownSizes += known ? 0 : 1;
    totals.running += runs(record.state) ? 1 : 0;
    totals.speed += record.state.usesNetwork() ? download.speed() : 0;
}

} // namespace

SelectionTotals SelectionTotals::of(const DownloadManager& manager, const std::vector<DownloadID>& ids) {
    SelectionTotals totals;
    for (const DownloadID id : ids) {
        if (const Download* download = manager.download(id)) {
            add(totals, *download);
        }
    }
    return totals;
}

} // namespace fluvane
