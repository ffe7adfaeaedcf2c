// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Retries.h"

#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

constexpr double lookInterval = 2;    ///< Seconds.
constexpr double longestLooking = 20; ///< Seconds of a delay.

} // namespace

Retries::Retries(std::shared_ptr<Scheduler> scheduler, std::function<double()> random,
                 const Conditions& conditions, Turns& turns, std::function<void(DownloadID)> due)
    : scheduler_(std::move(scheduler)), random_(std::move(random)), conditions_(conditions), turns_(turns),
      due_(std::move(due)) {}

bool Retries::mayTryAgain(Download& download, const TransferError& error) const {
    auto& retry = download.retry.own();
    if (!retry.isPending() && scheduler_->now() >= retry.looksUntil()) {
        // Bytes that are thrown away at every failure are no progress.
        const auto goodStretch = download.record.resumable ? conditions_.tuning.minimumPiece
                                                           : std::numeric_limits<std::int64_t>::max();
        retry.count(error.offline, download.liveBytes(), goodStretch);
    }
    return retry.failures() <= conditions_.tuning.maxAttempts;
}

void Retries::schedule(Download& download, const TransferError& error, std::optional<double> retryAfter) {
    if (download.retry->isPending()) {
        return;
    }
    if (const double left = download.retry->looksUntil() - scheduler_->now(); left > 0 && !retryAfter) {
        download.retry.own().reason = error.message;
        postpone(download, std::min(left, lookInterval));
        return;
    }
    const auto attempt = download.retry->attempts();
    // A server that asks for no delay at all asks to be called again and again.
    const bool isServersWord = retryAfter && *retryAfter > 0;
    const auto delay = isServersWord ? *retryAfter : conditions_.tuning.backoff.delay(attempt, random_());
    log::downloads([&] {
        return fmt::format("download {}: {} tries again in {:.1f} s", download.id(),
                           log::hidden(error.message), delay);
    });
    download.retry.own().reason = error.message;
    // What was under way may go on soon: a server that only restarts isn't waited for twice as long.
    const bool looks = !retryAfter && delay <= longestLooking && download.record.doneBytes() > 0;
    if (looks) {
        download.retry.own().lookUntil(scheduler_->now() + delay);
        postpone(download, std::min(delay, lookInterval));
        return;
    }
    wait(download, delay, isServersWord ? download.record.url.site() : std::nullopt);
}

void Retries::postpone(Download& download, double delay) {
    wait(download, delay, std::nullopt);
}

void Retries::wait(Download& download, double delay, std::optional<std::string> server) {
    auto timer = scheduler_->after(delay, turns_.later([this, id = download.id()] { due_(id); }));
    download.retry.own().schedule(std::move(timer), scheduler_->now() + delay, std::move(server));
}

std::optional<double> Retries::retryIn(const Download& download) const {
    const bool waits = download.record.state.isWaiting(DownloadState::Wait::retrying);
    if (!waits || !download.retry->isPending()) {
        return std::nullopt;
    }
    return std::max(download.retry->at() - scheduler_->now(), 0.0);
}

} // namespace fluvane
