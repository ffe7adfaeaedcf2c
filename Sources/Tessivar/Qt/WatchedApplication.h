// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/HangWatch.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

namespace tessivar {

/// An application object whose main thread marks for the watch what it works on. `Application` is
/// QCoreApplication or one of its descendants.
///
/// Each event that is handled is a step of its own, and none while the loop waits, in an inner loop (of a
/// dialog, within an event) as well. The dispatcher's own signals don't do: one dispatcher runs timers, the
/// other everything, while it counts as about to block.
template <class Application>
class WatchedApplication : public Application {
public:
    /// `count` and the watch must outlive it, as Qt asks of `count`.
    WatchedApplication(int& count, char** arguments, HangWatch& watch)
        : Application(count, arguments), watch_(watch) {
        QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
                         [this] { watch_.idle(); });
    }

    bool notify(QObject* receiver, QEvent* event) override {
        const HangWatch::Work work(watch_);
        return Application::notify(receiver, event);
    }

private:
    HangWatch& watch_;
};

} // namespace tessivar
