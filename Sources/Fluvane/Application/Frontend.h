// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/ApplicationWindows.h"
#include "Fluvane/Ports/SettingsAccess.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/MainQueue.h"

#include <QCoreApplication>

#include <memory>
#include <string>

namespace tessivar {
class HangWatch;
}

namespace fluvane {

class Bus;
class FileReveal;

/// What makes the application one with windows or one without. For the main thread.
class Frontend {
public:
    /// What windows are made of; all of it outlives them.
    struct ApplicationServices {
        DownloadManager& manager;
        SettingsAccess& settings;
        Bus& session;
        FileReveal& reveal;
        MainQueue& mainQueue;
        std::string stateFolder;
        ApplicationWindows::SelfDescription self;
    };

    virtual ~Frontend() = default;
    /// First of all. The arguments, and the watch, outlive what it makes.
    virtual std::unique_ptr<QCoreApplication> makeApplication(int& count, char** arguments,
                                                              tessivar::HangWatch& watch) = 0;
    /// Null without a display.
    virtual std::unique_ptr<ApplicationWindows> makeWindows(const ApplicationServices& parts) = 0;
};

/// The application from its start to its end; returns its exit status.
int runApplication(int argc, char** argv, Frontend& frontend);

} // namespace fluvane
