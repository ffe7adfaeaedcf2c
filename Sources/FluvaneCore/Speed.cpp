// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Speed.h"

#include "FluvaneCore/CheckedMath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace fluvane {

void SpeedMeter::add(std::int64_t total, double at) {
    if (!lastTime) {
        started = at;
    } else if (const double elapsed = at - *lastTime; elapsed > 0) {
        const std::int64_t grown = std::max<std::int64_t>(checkedSubtract(total, lastTotal), 0);
        const double sample = static_cast<double>(grown) / elapsed;
        // From a standstill the next measurement stands by itself, instead of climbing slowly from 0.
        const double weight = smoothed == 0 ? 1.0 : 1 - std::exp(-elapsed * std::numbers::ln2 / halfLife);
        smoothed += (sample - smoothed) * weight;
    }
    lastTime = at;
    lastTotal = total;
}

std::optional<double> SpeedMeter::secondsLeft(std::int64_t remaining, double at) const {
    if (!started || !(settle <= at - *started) || !(smoothed > 1.0)) {
        return std::nullopt;
    }
    return static_cast<double>(remaining) / smoothed;
}

double Backoff::delay(int attempt, double random) const {
    const double longest = std::min(std::ldexp(base, std::max(attempt, 1) - 1), limit);
    const double jitter = random > 0 ? std::min(random, 1.0) * 0.5 + 0.5 : 0.5;
    return jitter * longest;
}

TokenBucket::TokenBucket(double bytesPerSecond, std::optional<double> capacity)
    : rate(bytesPerSecond > 1.0 ? bytesPerSecond : 1.0),
      burst(capacity.value_or(std::max(65536.0, bytesPerSecond / 4))), tokens(burst) {}

double TokenBucket::take(std::int64_t bytes, double at) {
    if (last) {
        tokens = std::min(tokens + (at - *last) * rate, burst);
    }
    last = at;
    tokens -= static_cast<double>(bytes);
    return tokens >= 0 ? 0 : -tokens / rate;
}

} // namespace fluvane
