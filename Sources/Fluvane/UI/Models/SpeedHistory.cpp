// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/SpeedHistory.h"

#include <algorithm>
#include <chrono>

namespace fluvane {

SpeedHistory::SpeedHistory(const DownloadManager& manager, ListFeed& feed, Clock clock)
    : manager_(manager), clock_(std::move(clock)) {
    connect(&feed, &ListFeed::changed, this, &SpeedHistory::sample);
}

SpeedHistory& SpeedHistory::of(const DownloadManager& manager, ListFeed& feed) {
    auto* history = feed.findChild<SpeedHistory*>();
    if (!history) {
        history = new SpeedHistory(manager, feed);
        history->setParent(&feed);
    }
    return *history;
}

SpeedHistory::Clock SpeedHistory::steadyClock() {
    return [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double>(now).count();
    };
}

const std::vector<SpeedHistory::Sample>& SpeedHistory::samples(DownloadID id) const {
    static const std::vector<Sample> none;
    const auto found = samples_.find(id);
    return found == samples_.end() ? none : found->second;
}

void SpeedHistory::sample() {
    const double now = clock_();
    // The feed's turns come a little early or late.
    if (sampledAt_ && now - *sampledAt_ < interval * 0.9) {
        return;
    }
    sampledAt_ = now;
    for (const Download* download : manager_.downloads()) {
        if (download->record.state.usesNetwork()) {
            samples_[download->id()].push_back({now, download->speed()});
        }
    }
    forget(now);
}

void SpeedHistory::forget(double now) {
    for (auto& [id, samples] : samples_) {
        std::erase_if(samples, [&](const Sample& sample) { return now - sample.time > length; });
    }
    std::erase_if(samples_,
                  [&](const auto& entry) { return entry.second.empty() || !manager_.download(entry.first); });
}

} // namespace fluvane
