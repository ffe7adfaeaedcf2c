// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/LinuxScheduler.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

namespace fluvane::support {

/// An application without windows, whose events run while a test waits for something.
struct EventLoop {
    int argumentCount = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};
    LinuxScheduler scheduler;

    /// False if the condition didn't hold in time.
    static bool runUntil(const std::function<bool()>& condition) {
        QTimer deadline; // its event ends the wait for one
        deadline.setSingleShot(true);
        deadline.start(20'000);
        while (!condition() && deadline.isActive()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        }
        return condition();
    }
};

} // namespace fluvane::support
