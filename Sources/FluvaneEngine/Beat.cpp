// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Beat.h"

#include <algorithm>
#include <utility>

namespace fluvane {

namespace {

constexpr double interval = 0.5; ///< Seconds.

void measure(Download& download, double now) {
    const auto bytes = download.measure(now);
    const auto size = download.record.size;
    download.secondsLeft =
        size ? download.meter->secondsLeft(std::max<std::int64_t>(*size - bytes, 0), now) : std::nullopt;
}

} // namespace

Beat::Beat(std::shared_ptr<Scheduler> scheduler, std::shared_ptr<PowerAssertion> power,
           const DownloadList& list, const Conditions& conditions, Turns& turns,
           std::function<void(std::int64_t)> beaten)
    : scheduler_(std::move(scheduler)), power_(std::move(power)), list_(list), conditions_(conditions),
      turns_(turns), beaten_(std::move(beaten)) {}

void Beat::follow() {
    const bool anyActive =
        std::ranges::any_of(list_, [](const auto& download) { return download->record.state.isActive(); });
    const bool anyWorks = std::ranges::any_of(list_, [](const auto& download) {
        const auto& state = download->record.state;
        return state.isActive() && !state.isWaiting(DownloadState::Wait::retrying);
    });
    arm(anyActive);
    keepAwake(anyWorks && conditions_.config.keepAwake);
}

void Beat::stop() {
    arm(false);
    keepAwake(false);
}

void Beat::arm(bool on) {
    if (on && !ticker_) {
        ticker_ = scheduler_->after(interval, turns_.later([this] { tick(); }));
    } else if (!on && ticker_) {
        std::exchange(ticker_, nullptr)->cancel();
    }
}

void Beat::keepAwake(bool on) {
    if (std::exchange(awake_, on) != on) {
        power_->keepAwake(on);
    }
}

void Beat::tick() {
    ticker_.reset();
    ++ticks_;
    const auto now = scheduler_->now();
    for (const auto& download : list_) {
        if (download->record.state.usesNetwork()) {
            measure(*download, now);
        }
    }
    beaten_(ticks_);
    turns_.progressed();
    follow();
}

} // namespace fluvane
