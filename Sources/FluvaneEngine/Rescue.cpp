// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Rescue.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneCore/Planner.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace fluvane::rescue {

namespace {

using Active = Download::Active;

constexpr double patience = 10;      ///< Seconds of silence, or of being slow, while others run.
constexpr double answerPatience = 5; ///< Seconds without an answer, while others run or had one.
constexpr double worthwhile = 5;     ///< Seconds that a piece must still take at its own speed.
constexpr double farSlower = 4;      ///< Times the usual time that is.
constexpr double muchSlower = 10;    ///< Times slower, where no connection is free.
constexpr double nothing = 1024;     ///< Bytes per second.
constexpr double keeps = 1;          ///< Seconds of its own speed that the slow one keeps.
constexpr std::int64_t keepsAtLeast = 16 * 1024;
constexpr int mostRescues = 2; ///< Of one piece: then it isn't the connection.

/// The upper one of two.
std::optional<double> median(std::vector<double> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

std::vector<double> speedsBut(const Download& download, const Active* without) {
    std::vector<double> speeds;
    for (const auto& [start, active] : download.transfers) {
        if (const auto speed = active.pace.speed(); speed && &active != without) {
            speeds.push_back(*speed);
        }
    }
    return speeds;
}

bool othersRun(const Download& download, const Active& silent, double now) {
    return std::ranges::any_of(download.transfers, [&](const auto& entry) {
        const Active& other = entry.second;
        return &other != &silent && other.offset && other.pace.silence(now) < patience / 2;
    });
}

/// How fast a connection counts as, if that can be told.
std::optional<double> ownSpeed(const Active& active, double now) {
    if (active.offset) {
        return active.pace.speed();
    }
    return active.pace.age(now) >= answerPatience ? std::optional(0.0) : std::nullopt;
}

struct Slow {
    std::int64_t start;
    std::int64_t reached;
    std::int64_t end;
    double speed;
    [[nodiscard]] double secondsLeft() const {
        return speed >= nothing ? static_cast<double>(end - reached) / speed
                                : std::numeric_limits<double>::infinity();
    }
};

bool isDue(const Download& download, const Active& active, const Slow& slow, double now, bool isFree) {
    const double mayBeSilent = active.offset ? patience : answerPatience;
    if (active.pace.silence(now) >= mayBeSilent && othersRun(download, active, now)) {
        return true;
    }
    if (isFree && download.usualSpeed && slow.speed * farSlower < *download.usualSpeed &&
        slow.secondsLeft() > worthwhile) {
        return true;
    }
    return active.pace.slowFor(now) >= patience;
}

/// Absent when too little would be left for another connection.
std::optional<Cut> cut(const Slow& slow) {
    if (slow.speed < nothing) {
        return Cut{slow.start, std::nullopt};
    }
    const auto kept = std::max(static_cast<std::int64_t>(slow.speed * keeps), keepsAtLeast);
    const auto at = checkedAdd(slow.reached, kept);
    return checkedSubtract(slow.end, at) >= planner::alignment ? std::optional(Cut{slow.start, at})
                                                               : std::nullopt;
}

} // namespace

void watch(Download& download, double now) {
    for (auto& [start, active] : download.transfers) {
        active.pace.note(active.reached(), now);
    }
    const auto speeds = speedsBut(download, nullptr);
    if (speeds.size() >= 2) {
        download.usualSpeed = median(speeds);
    }
    for (auto& [start, active] : download.transfers) {
        const auto own = active.pace.speed();
        const auto others = median(speedsBut(download, &active));
        active.pace.noteSlow(own && others && *own * muchSlower < *others, now);
    }
}

std::optional<Cut> choose(const Download& download, double now, bool connectionIsFree) {
    std::optional<Cut> chosen;
    double longest = 0;
    for (const auto& piece : download.record.pieces) {
        const auto found = download.transfers.find(piece.start);
        if (found == download.transfers.end() || !piece.end ||
            download.rescuesOf(piece.start) >= mostRescues) {
            continue;
        }
        const Active& active = found->second;
        const auto speed = ownSpeed(active, now);
        const Slow slow{piece.start, std::max(active.reached().value_or(piece.next()), piece.next()),
                        *piece.end, speed.value_or(0)};
        if (!speed || slow.reached >= slow.end || slow.secondsLeft() <= longest ||
            !isDue(download, active, slow, now, connectionIsFree)) {
            continue;
        }
        if (const auto possible = cut(slow)) {
            chosen = possible;
            longest = slow.secondsLeft();
        }
    }
    return chosen;
}

} // namespace fluvane::rescue
