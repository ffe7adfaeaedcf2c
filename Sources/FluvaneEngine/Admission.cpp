// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Admission.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace fluvane::admission {

namespace {

/// The room that is left at the servers while a plan is made.
class Rooms {
public:
    Rooms(const DownloadList& list, int perServer) {
        for (const auto& download : list) {
            const int count = download->connectionsTaken();
            if (count > 0) {
                Room& room = roomOf(*download, perServer);
                room.free -= count;
                room.toSpare += download->isPrioritized() ? 0 : count - 1;
            }
        }
        perServer_ = perServer;
    }

    [[nodiscard]] bool take(const Download& download) {
        Room& room = roomOf(download, perServer_);
        if (room.free <= 0 && room.toSpare <= 0 && !download.isPrioritized()) {
            return false;
        }
        --(room.free <= 0 && room.toSpare > 0 ? room.toSpare : room.free);
        return true;
    }

private:
    struct Room {
        int free;        ///< Connections that may be opened; below 0 after a prioritized one.
        int toSpare = 0; ///< That downloads with several could give away.
    };
    Room& roomOf(const Download& download, int perServer) {
        return rooms_.try_emplace(download.record.url.site(), Room{.free = perServer}).first->second;
    }

    std::map<std::optional<std::string>, Room> rooms_;
    int perServer_ = 0;
};

int countActive(const DownloadList& list) {
    return static_cast<int>(
        std::ranges::count_if(list, [](const auto& download) { return download->record.state.isActive(); }));
}

/// Fills the slots in the order of the line.
void fillSlots(Plan& plan, const std::vector<Download*>& line, int free, Rooms rooms) {
    for (Download* const download : line) {
        if (free <= 0 && !download->isPrioritized()) {
            plan.waits.push_back({download, Reason::noSlot});
        } else if (!rooms.take(*download)) {
            plan.waits.push_back({download, Reason::fullServer});
        } else {
            plan.starts.push_back(download);
            --free;
        }
    }
}

} // namespace

std::int64_t placesHeldByRetries(const DownloadList& list, const Conditions& conditions) {
    std::int64_t queued = 0;
    std::int64_t retried = 0;
    for (const auto& download : list) {
        const auto& state = download->record.state;
        queued += state.is<DownloadState::Queued>() ? 1 : 0;
        retried += state.isWaiting(DownloadState::Wait::retrying) ? 1 : 0;
    }
    const bool isFull = retried > 0 && countActive(list) >= conditions.config.simultaneous;
    return queued > 0 && isFull ? retried : 0;
}

bool mustWaitForNetwork(const Download& download, const Conditions& conditions) {
    return conditions.sparesNetwork() && !download.allowedOnLimitedNetwork;
}

Plan plan(const DownloadList& list, const Conditions& conditions) {
    Plan plan;
    std::vector<Download*> candidates;
    for (Download* const download : list.queued()) {
        if (download->isMoving) {
            continue;
        }
        if (!conditions.online) {
            plan.waits.push_back({download, Reason::offline});
        } else if (mustWaitForNetwork(*download, conditions)) {
            plan.waits.push_back({download, Reason::limitedNetwork});
        } else {
            candidates.push_back(download);
        }
    }
    const int free = conditions.config.simultaneous - countActive(list);
    if (free <= 0 && std::ranges::none_of(candidates, &Download::isPrioritized)) {
        for (Download* const download : candidates) {
            plan.waits.push_back({download, Reason::noSlot});
        }
        return plan; // nothing can start: spares sorting and counting
    }
    DownloadList::sortLine(candidates);
    fillSlots(plan, candidates, free, Rooms(list, conditions.config.connectionsPerServer));
    return plan;
}

} // namespace fluvane::admission
