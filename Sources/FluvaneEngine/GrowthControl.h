// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Connections.h"
#include "FluvaneEngine/DownloadList.h"

#include <cstdint>
#include <optional>
#include <set>

namespace fluvane {

/// Who of the running downloads may try more connections: one at a time, and while one is prioritized only
/// that one. Carries out what the measuring one's `Growth` answers.
class GrowthControl {
public:
    GrowthControl(const DownloadList& list, const Conditions& conditions, Connections& connections);

    /// Bytes came: `bytes` is what the download has so far, `now` the scheduler's time.
    void adapt(Download& download, std::int64_t bytes, double now);
    /// The download doesn't run anymore, or what it measures means nothing.
    void leave(Download& download);
    /// Every running download grows again.
    void remeasure();
    /// To be called regularly: when a download has left there is speed to be had, for those that had stopped
    /// growing too.
    void noticeNeighbours();

private:
    void letOthersMeasure(const Download& download);
    [[nodiscard]] bool canMeasure(const Download& download) const;
    [[nodiscard]] bool mayMeasure(const Download& download, double now) const;
    void follow(Download& download, const Growth::Answer& answer);

    const DownloadList& list_;
    const Conditions& conditions_;
    Connections& connections_;
    std::optional<DownloadID> measuring_;
    double heard_ = 0;                 ///< When the measuring one last told of bytes.
    std::set<DownloadID> downloading_; ///< When it was looked last.
};

} // namespace fluvane
