// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Growth.h"

#include <algorithm>

namespace fluvane {

namespace {

/// A share of the whole below which the other downloads don't count.
constexpr double negligibleShare = 0.05;

} // namespace

int Growth::aim(int cap) const {
    return std::min(target_, cap);
}

void Growth::begin(int target) {
    *this = {};
    target_ = target;
}

void Growth::afresh() {
    const int target = target_;
    begin(target);
}

void Growth::stop() {
    afresh();
    growing_ = false;
}

void Growth::cutBack(int target) {
    target_ = aim(target);
    stop();
}

Growth::Answer Growth::feed(const Sample& sample, const Limits& limits, const Tuning& tuning) {
    if (!window_) {
        window_ = sample;
        return Stay{};
    }
    const auto elapsed = sample.time - window_->time;
    if (elapsed < tuning.adaptWindow) {
        return Stay{};
    }
    const Rates now{static_cast<double>(sample.bytes - window_->bytes) / elapsed,
                    static_cast<double>(sample.receivedByAll - window_->receivedByAll) / elapsed};
    window_.reset();
    if (const auto back = judge(now, limits, tuning.adaptGain)) {
        target_ = *previous_;
        stop();
        return *back;
    }
    if (aim(limits.cap) >= limits.cap) {
        growing_ = false;
        return Stay{};
    }
    return step(now, limits.cap);
}

std::optional<Growth::Back> Growth::judge(const Rates& now, const Limits& limits, double gain) const {
    if (!before_ || !previous_) {
        return std::nullopt;
    }
    const auto othersBefore = before_->all - before_->own;
    const bool notFaster = now.own < before_->own * (1 + gain);
    const bool tookSpeed = !limits.isPrioritized && othersBefore > negligibleShare * before_->all &&
                           now.all - now.own < othersBefore * (1 - gain);
    if (!notFaster && !tookSpeed) {
        return std::nullopt;
    }
    return Back{.from = target_, .rate = now.own, .rateBefore = before_->own, .tookSpeed = !notFaster};
}

Growth::Step Growth::step(const Rates& now, int cap) {
    const auto current = aim(cap);
    before_ = now;
    previous_ = current;
    target_ = current > cap / 2 ? cap : current * 2;
    return {.from = current, .rate = now.own};
}

} // namespace fluvane
