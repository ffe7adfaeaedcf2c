// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarBase/Descriptor.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace fluvane {

/// Turns the signals that ask a process to end (SIGTERM, SIGINT, SIGHUP) into a call on the main queue. Those
/// that whoever started us has set to be ignored stay ignored.
class EndSignals {
public:
    /// Before any thread is started, since threads inherit what is blocked.
    static void block();

    /// With the event loop's thread; `ended` may be called more than once.
    explicit EndSignals(std::function<void()> ended);
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

private:
    tessivar::Descriptor signals_; // open for as long as the notifier watches it
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace fluvane
