// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/EndBound.h"

#include <utility>

namespace fluvane {

EndBound::EndBound(std::chrono::milliseconds patience, std::function<void()> expired)
    : thread_([this, patience, expired = std::move(expired)] {
          std::unique_lock lock(mutex_);
          if (!changed_.wait_for(lock, patience, [this] { return isOver_; })) {
              expired();
          }
      }) {}

EndBound::~EndBound() {
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

} // namespace fluvane
