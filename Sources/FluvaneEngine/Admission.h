// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"

#include <cstdint>
#include <vector>

/// Which of the queued downloads start. Functions of the list and the conditions that change nothing.
namespace fluvane::admission {

enum class Reason {
    offline,
    limitedNetwork, ///< It has no leave to use the limited network.
    noSlot,         ///< As many run as may.
    fullServer,     ///< Its server has all its connections, and nobody has one to spare.
};

struct Waiting {
    Download* download;
    Reason reason;
    friend bool operator==(const Waiting&, const Waiting&) = default;
};

struct Plan {
    std::vector<Download*> starts; ///< In the order in which they are to start.
    std::vector<Waiting> waits;    ///< In no particular order.
};

/// Says of every queued download whether it starts, and if not, why. A prioritized one needs neither a slot
/// nor room at its server. Each start takes one connection of its server: a free one, else one of a download
/// there that has several.
[[nodiscard]] Plan plan(const DownloadList& list, const Conditions& conditions);

/// How many places are taken by downloads that are being tried again while others wait for one; 0 where none
/// is wanting.
[[nodiscard]] std::int64_t placesHeldByRetries(const DownloadList& list, const Conditions& conditions);

/// Whether the download may not use the network there is.
[[nodiscard]] bool mustWaitForNetwork(const Download& download, const Conditions& conditions);

} // namespace fluvane::admission
