// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Growth.h"

#include <algorithm>
#include <numeric>

namespace fluvane {

namespace {

/// A share of the whole below which the other downloads don't count.
constexpr double negligibleShare = 0.05;

constexpr double sampleInterval = 0.5; ///< Seconds.
constexpr double muchFaster = 1.5;     ///< Times: more than a line's usual ups and downs.

double rate(std::int64_t from, std::int64_t to, double seconds) {
    return static_cast<double>(to - from) / seconds;
}

/// The mean without the highest and the lowest quarter: neither one burst changes it, nor does a server that
/// always sends in bursts.
double middleMean(std::vector<double> values) {
    std::ranges::sort(values);
    const auto quarter = static_cast<std::ptrdiff_t>(values.size() / 4);
    const auto count = std::ssize(values) - 2 * quarter;
    return std::accumulate(values.begin() + quarter, values.end() - quarter, 0.0) /
           static_cast<double>(count);
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
    std::vector<double> others;
    for (std::size_t i = 1; i < window_.size(); ++i) {
        const Sample& from = window_[i - 1];
        const Sample& to = window_[i];
        own.push_back(rate(from.bytes, to.bytes, to.time - from.time));
        others.push_back(rate(from.receivedByOthers, to.receivedByOthers, to.time - from.time));
    }
    window_.clear();
    return Rates{middleMean(std::move(own)), middleMean(std::move(others))};
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
    const bool notFaster = now.own < before_->own * (1 + gain);
    const bool othersCount = before_->others > negligibleShare * (before_->own + before_->others);
    const bool tookSpeed = !limits.isPrioritized && othersCount && now.others < before_->others * (1 - gain);
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
