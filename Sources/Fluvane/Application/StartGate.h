// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>
#include <utility>

namespace fluvane {

/// Lets the first of several triggers through, and only that. The main queue's.
class StartGate {
public:
    explicit StartGate(std::function<void()> start) : start_(std::move(start)) {}

    void trigger() {
        if (!std::exchange(started_, true)) {
            start_();
        }
    }
    [[nodiscard]] bool started() const { return started_; }

private:
    std::function<void()> start_;
    bool started_ = false;
};

} // namespace fluvane
