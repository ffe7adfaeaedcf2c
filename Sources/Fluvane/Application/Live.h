#pragma once

#include "Fluvane/Application/StartGate.h"
#include "Fluvane/Application/StoredSettings.h"
#include "Fluvane/Commands/CommandCenter.h"
#include "Fluvane/Commands/ControlServer.h"
#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/QuietServices.h"
#include "Fluvane/Linux/SerialQueue.h"
#include "FluvaneEngine/DownloadManager.h"
#include "TessivarCore/LogFiles.h"

#include <memory>

namespace fluvane {

/// The application without windows: makes every object that lives as long as the process, joins them, starts
/// and stops them. Owned by the entry, for the main thread with its event loop; only the holder of the
/// instance lock makes one.
class Live {
public:
    /// `log` must outlive it.
    explicit Live(const tessivar::LogFiles& log);
    Live(const Live&) = delete;
    Live& operator=(const Live&) = delete;

    /// The list is loaded and the control socket opened at the first report on the network, or a second from
    /// now.
    void start();
    /// Saves the list and closes the socket.
    void stop();

private:
    using Settings = tessivar::SettingsStore<Config>;

    [[nodiscard]] std::unique_ptr<DownloadManager> makeManager();
    void applySettings(const Config& config);
    void startEngine();
    void carryOut(const CommandCenter::Arguments& arguments, const ReplyCompletion& completion);
    void gatherLog(std::function<void(std::string)> completion);

    const tessivar::LogFiles& log_;
    std::shared_ptr<LinuxScheduler> scheduler_ = std::make_shared<LinuxScheduler>(); // the main queue, too
    Settings settings_;
    std::shared_ptr<Notifier> notifier_ = std::make_shared<QuietNotifier>();
    std::unique_ptr<NetworkWatch> network_ = std::make_unique<QuietNetworkWatch>(*scheduler_);
    std::unique_ptr<DownloadManager> manager_;
    tessivar::Subscription settingsChanges_;
    StoredSettings storedSettings_{settings_};
    CommandCenter commands_;
    SerialQueue logReading_;
    ControlServer server_;
    StartGate gate_{[this] { startEngine(); }};
    bool stopped_ = false;
};

} // namespace fluvane
