// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Growth.h"

#include <algorithm>

namespace fluvane {

namespace {

/// A share of the whole below which the other downloads don't count.
constexpr double negligibleShare = 0.05;

constexpr double sampleInterval = 0.5; ///< Seconds.
constexpr double muchFaster = 1.5;     ///< Times: more than a line's usual ups and downs.

double rate(std::int64_t from, std::int64_t to, double seconds) {
    return static_cast<double>(to - from) / seconds;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    if (values.size() % 2 == 1) {
        return *middle;
    }
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

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

bool Growth::hasBecomeFaster(const Sample& sample, const Tuning& tuning) {
    const auto now = settled_ ? measure(sample, tuning.adaptWindow) : std::nullopt;
    return now && now->own > *settled_ * muchFaster;
}

/// The median of the window, which one burst doesn't change.
std::optional<Growth::Rates> Growth::measure(const Sample& sample, double atLeast) {
    const bool isFull = !window_.empty() && sample.time - window_.front().time >= atLeast;
    const double gap = window_.empty() ? sampleInterval : sample.time - window_.back().time;
    if (gap >= sampleInterval || (isFull && gap > 0)) {
        window_.push_back(sample);
    }
    if (!isFull) {
        return std::nullopt;
    }
    std::vector<double> own;
    std::vector<double> all;
    for (std::size_t i = 1; i < window_.size(); ++i) {
        const Sample& from = window_[i - 1];
        const Sample& to = window_[i];
        own.push_back(rate(from.bytes, to.bytes, to.time - from.time));
        all.push_back(rate(from.receivedByAll, to.receivedByAll, to.time - from.time));
    }
    window_.clear();
    return Rates{median(std::move(own)), median(std::move(all))};
}

Growth::Answer Growth::feed(const Sample& sample, const Limits& limits, const Tuning& tuning) {
    const auto measured = measure(sample, tuning.adaptWindow);
    if (!measured) {
        return Stay{};
    }
    const Rates& now = *measured;
    if (const auto back = judge(now, limits, tuning.adaptGain)) {
        target_ = *previous_;
        stop();
        settled_ = back->rateBefore;
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
