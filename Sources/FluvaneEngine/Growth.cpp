// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// How many connections a download aims for: doubled while that makes it faster and costs the others nothing.

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

/// A share of the whole below which the other downloads don't count.
constexpr double negligibleShare = 0.05;

bool canMeasure(const Download& download) {
    return download.record.state.is<State::Downloading>() && download.growing && download.record.resumable &&
           !download.retry;
}

int connectionsWriting(const Download& download) {
    return static_cast<int>(std::ranges::count_if(
        download.transfers, [](const auto& entry) { return entry.second.offset.has_value(); }));
}

} // namespace

/// `bytes` is what the download has so far, `at` the scheduler's time.
void DownloadManager::adapt(Download& download, std::int64_t bytes, double at) {
    if (!mayMeasure(download)) {
        if (measuring_ == download.id()) {
            measuring_.reset(); // whatever keeps it from measuring must not keep the others from it
        }
        download.window.reset();
        return;
    }
    measuring_ = download.id();
    if (connectionsWriting(download) < aim(download)) {
        download.window.reset();
        return;
    }
    if (!download.window) {
        download.window = {at, bytes, received_};
        return;
    }
    const auto elapsed = at - download.window->time;
    if (elapsed < adaptWindow) {
        return;
    }
    const auto rate = static_cast<double>(bytes - download.window->bytes) / elapsed;
    const auto totalRate = static_cast<double>(received_ - download.window->total) / elapsed;
    download.window.reset();
    if (!judgeStep(download, rate, totalRate)) {
        return;
    }
    if (aim(download) >= cap(download)) {
        download.growing = false;
    } else {
        takeStep(download, rate, totalRate);
    }
}

bool DownloadManager::mayMeasure(const Download& download) const {
    if (!canMeasure(download)) {
        return false;
    }
    const bool another = std::ranges::any_of(downloads_, [&](const auto& other) {
        return other.get() != &download && other->isPrioritized() && other->record.state.isActive();
    });
    if (another || (download.target >= cap(download) && !download.previousTarget)) {
        return false;
    }
    if (static_cast<int>(download.transfers.size()) < aim(download)) {
        return false;
    }
    const Download* const measuring = measuring_ ? find(*measuring_) : nullptr;
    return !measuring || measuring == &download || !canMeasure(*measuring);
}

/// Whether the last step may stay; takes it back otherwise.
bool DownloadManager::judgeStep(Download& download, double rate, double totalRate) {
    if (!download.lastRate || !download.lastTotalRate || !download.previousTarget) {
        return true;
    }
    const auto othersBefore = *download.lastTotalRate - *download.lastRate;
    const bool notFaster = rate < *download.lastRate * (1 + adaptGain);
    const bool tookSpeed = !download.isPrioritized() &&
                           othersBefore > negligibleShare * *download.lastTotalRate &&
                           totalRate - rate < othersBefore * (1 - adaptGain);
    if (!notFaster && !tookSpeed) {
        return true;
    }
    const auto previous = *download.previousTarget;
    log::downloads([&] {
        return fmt::format("download {}: {} connections {}({} against {} with {}), back to {}", download.id(),
                           download.target,
                           notFaster ? "weren't faster " : "took speed from the other downloads ",
                           words::speed(rate), words::speed(*download.lastRate), previous, previous);
    });
    download.growing = false;
    download.target = previous;
    download.previousTarget.reset();
    if (measuring_ == download.id()) {
        measuring_.reset();
    }
    trim(download);
    return false;
}

void DownloadManager::takeStep(Download& download, double rate, double totalRate) {
    const auto current = aim(download);
    download.lastRate = rate;
    download.lastTotalRate = totalRate;
    download.previousTarget = current;
    download.target = current > cap(download) / 2 ? cap(download) : current * 2;
    log::downloads([&] {
        return fmt::format("download {}: {} connections at {}, trying {}", download.id(), current,
                           words::speed(rate), download.target);
    });
    fill(download);
}

void DownloadManager::measureAfresh(Download& download, bool regrow) {
    download.growing = download.growing || regrow;
    download.previousTarget.reset();
    download.lastRate.reset();
    download.lastTotalRate.reset();
    download.window.reset();
}

void DownloadManager::remeasure(bool regrow) {
    for (const auto& download : downloads_) {
        if (download->record.state.is<State::Downloading>()) {
            measureAfresh(*download, regrow);
        }
    }
    measuring_.reset();
}

/// When a download has left there is speed to be had, for those that had stopped growing too.
void DownloadManager::noticeNeighbours() {
    std::set<DownloadID> now;
    for (const auto& download : downloads_) {
        if (download->record.state.is<State::Downloading>()) {
            now.insert(download->id());
        }
    }
    if (now == downloading_) {
        return;
    }
    const bool someoneLeft = !std::ranges::includes(now, downloading_);
    downloading_ = std::move(now);
    for (const auto& download : downloads_) {
        if (someoneLeft && download->record.state.is<State::Downloading>() && !download->growing) {
            measureAfresh(*download, true);
        }
    }
}

} // namespace fluvane
