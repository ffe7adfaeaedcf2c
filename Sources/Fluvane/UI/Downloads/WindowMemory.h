// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/DownloadsFilter.h"

#include <QByteArray>
#include <QString>

namespace fluvane {

/// How the user left the window. Kept in a small file of its own; one that can't be read or makes no sense
/// counts as none.
struct WindowMemory {
    QByteArray geometry{};
    bool details = true;
    bool compact = false;      ///< A line for each download.
    double besideShare = 0.36; ///< Of the window that the details take beside the list.
    double belowShare = 0.45;  ///< The same below it.
    StateGroup group = StateGroup::all;
    DownloadsFilter::Order order = DownloadsFilter::Order::state;
    bool descending = false;
    std::int64_t limit = 0; ///< The speed limit that was last in force, in bytes per second; 0: none yet.

    /// Nothing is kept without a file's path.
    [[nodiscard]] static WindowMemory load(const QString& file);
    void save(const QString& file) const;
};

} // namespace fluvane
