// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Application/DesktopDoor.h"
#include "Fluvane/Application/Frontend.h"
#include "Fluvane/Application/Reports.h"
#include "Fluvane/Application/StartGate.h"
#include "Fluvane/Application/StoredSettings.h"
#include "Fluvane/Application/Visit.h"
#include "Fluvane/Commands/CommandCenter.h"
#include "Fluvane/Commands/ControlServer.h"
#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Notices/FileReveal.h"
#include "Fluvane/Linux/Notices/LinuxNotifier.h"
#include "Fluvane/Linux/SerialQueue.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "Fluvane/Linux/Services/SleepWatch.h"
#include "FluvaneEngine/DownloadManager.h"
#include "Tessivar/Qt/SettingsWatch.h"
#include "TessivarCore/LogFiles.h"

#include <memory>
#include <vector>

namespace fluvane {

/// The application: makes every object that lives as long as the process, joins them, starts
/// and stops them. Owned by the entry, for the main thread with its event loop; only the holder of the
/// instance lock makes one.
class Live {
public:
    /// What it is given must outlive it.
    Live(const tessivar::LogFiles& log, Frontend& frontend);
    Live(const Live&) = delete;
    Live& operator=(const Live&) = delete;

    /// The list is loaded and the control socket opened at the first report on the network, or a second from
    /// now; the visit comes after that. Returns at once.
    void start(Visit visit);
    /// Saves the list and closes the socket. False when a disk didn't answer: threads may wait for it, so
    /// that the destructor might never return.
    [[nodiscard]] bool stop();

private:
    using Settings = tessivar::SettingsStore<Config>;

    [[nodiscard]] std::unique_ptr<DownloadManager> makeManager();
    [[nodiscard]] std::unique_ptr<ApplicationWindows> makeWindows(Frontend& frontend);
    void applySettings(const Config& config);
    void startEngine();
    Reply receive(const Visit& visit);
    void checkForUpdates();
    void tellOfUpdate(const std::string& sentence);
    [[nodiscard]] CommandCenter::Rooms rooms();
    [[nodiscard]] DesktopDoor::Visitor visitor();
    void prepareForSleep(SleepWatch::Done done);
    void carryOut(const CommandCenter::Arguments& arguments, const ReplyCompletion& completion);
    void gatherLog(std::function<void(std::string)> completion);

    const tessivar::LogFiles& log_;
    std::shared_ptr<LinuxScheduler> scheduler_ = std::make_shared<LinuxScheduler>(); // the main queue, too
    Bus session_{Bus::Kind::session, *scheduler_};
    Bus system_{Bus::Kind::system, *scheduler_};
    Settings settings_;
    tessivar::SettingsWatch settingsWatch_;
    FileReveal reveal_{session_};
    std::shared_ptr<LinuxNotifier> notifier_;
    DesktopNetworkWatch network_{system_, *scheduler_};
    std::unique_ptr<DownloadManager> manager_;
    SleepWatch sleep_;
    Reports reports_;
    tessivar::Subscription settingsChanges_;
    StoredSettings storedSettings_{settings_};
    SerialQueue logReading_;
    std::unique_ptr<ApplicationWindows> windows_; ///< Null without a display.
    CommandCenter commands_;
    ControlServer server_;
    DesktopDoor door_;
    std::vector<Visit> visits_; ///< Of this start and later ones, until there is somebody to receive them.
    StartGate gate_{[this] { startEngine(); }};
    bool stopped_ = false;
};

} // namespace fluvane
