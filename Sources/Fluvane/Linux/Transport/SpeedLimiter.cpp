// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/SpeedLimiter.h"

#include "Fluvane/Linux/Transport/Uptime.h"

#include <algorithm>

namespace fluvane {

namespace {

constexpr std::int64_t smallestStretch = 16 * 1024; // what the transfer library hands over at a time
constexpr std::int64_t largestStretch = 256 * 1024;

} // namespace

void SpeedLimiter::setLimit(std::optional<std::int64_t> bytesPerSecond) {
    const std::lock_guard lock(mutex_);
    if (bytesPerSecond) {
        bytesPerSecond = std::max<std::int64_t>(*bytesPerSecond, 1);
    }
    if (bytesPerSecond == limit_) {
        return;
    }
    limit_ = bytesPerSecond;
    bucket_.reset();
    if (limit_) {
        const auto rate = static_cast<double>(*limit_);
        bucket_.emplace(rate, std::max(rate * 0.25, 65536.0));
    }
    ++generation_;
}

double SpeedLimiter::wait(std::int64_t after) {
    const std::lock_guard lock(mutex_);
    return bucket_ ? bucket_->take(after, uptime()) : 0;
}

std::int64_t SpeedLimiter::stretch() const {
    const std::lock_guard lock(mutex_);
    return limit_ ? std::clamp(*limit_ / 100, smallestStretch, largestStretch) : largestStretch;
}

std::uint64_t SpeedLimiter::generation() const {
    const std::lock_guard lock(mutex_);
    return generation_;
}

std::optional<double> SpeedLimiter::capacity() const {
    const std::lock_guard lock(mutex_);
    return bucket_ ? std::optional(bucket_->burst) : std::nullopt;
}

} // namespace fluvane
