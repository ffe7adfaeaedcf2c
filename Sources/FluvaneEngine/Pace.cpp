// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Pace.h"

namespace fluvane {

namespace {

// Seconds: long enough to see past a burst, short enough to see a connection become slow.
constexpr double window = 4;
constexpr double shortestLook = 2;

} // namespace

void Pace::note(std::optional<std::int64_t> reached, double now) {
    if (!reached) {
        return;
    }
    if (samples_.empty() || samples_.back().reached != *reached) {
        lastByte_ = now;
    }
    samples_.push_back({now, *reached});
    while (samples_.size() > 2 && samples_[1].time <= now - window) {
        samples_.pop_front();
    }
}

void Pace::noteSlow(bool isSlow, double now) {
    if (!isSlow) {
        slowSince_.reset();
    } else if (!slowSince_) {
        slowSince_ = now;
    }
}

std::optional<double> Pace::speed() const {
    if (samples_.empty() || samples_.back().time - samples_.front().time < shortestLook) {
        return std::nullopt;
    }
    return static_cast<double>(samples_.back().reached - samples_.front().reached) /
           (samples_.back().time - samples_.front().time);
}

} // namespace fluvane
