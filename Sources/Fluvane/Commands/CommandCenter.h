#pragma once

#include "Fluvane/Commands/Reply.h"
#include "Fluvane/Commands/SettingsAccess.h"
#include "FluvaneEngine/DownloadManager.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// Carries out the commands of the command line and of the link scheme. The main queue's. A command that
/// changes the list replies once the change is on disk.
class CommandCenter {
public:
    using Arguments = std::vector<std::string>;
    /// Gathers the text of the last 10 minutes of the log, off the main queue, and calls back on it.
    using LogText = std::function<void(std::function<void(std::string)>)>;

    /// What it is given must outlive it.
    CommandCenter(DownloadManager& manager, SettingsAccess& settings, LogText logText);

    /// The command first. Completes exactly once, before it returns or on a later turn of the main queue.
    void run(const Arguments& arguments, const ReplyCompletion& completion);
    /// A link of the scheme `fluvane`. Never downloads anything unasked.
    void open(const URL& link);

private:
    struct Command;
    static const Command* find(std::string_view name);

    Reply add(const Arguments& arguments);
    Reply list(const Arguments& arguments);
    Reply pause(const Arguments& arguments);
    Reply resume(const Arguments& arguments);
    Reply remove(const Arguments& arguments);
    Reply next(const Arguments& arguments);
    Reply prioritize(const Arguments& arguments);
    Reply link(const Arguments& arguments);
    Reply checksum(const Arguments& arguments);
    Reply limit(const Arguments& arguments);
    Reply exportSettings(const Arguments& arguments);
    Reply importSettings(const Arguments& arguments);
    Reply show(const Arguments& arguments);
    Reply window(const Arguments& arguments);
    Reply diagnostics(const Arguments& arguments);
    Reply update(const Arguments& arguments);

    using All = void (DownloadManager::*)();
    using One = void (DownloadManager::*)(std::int64_t);
    Reply onDownloads(const char* command, const Arguments& arguments, All all, One one);
    Reply setLimit(std::optional<std::int64_t> bytesPerSecond);
    /// The download a whole number names; null for any other text.
    [[nodiscard]] const Download* numbered(const Arguments& arguments) const;

    DownloadManager& manager_;
    SettingsAccess& settings_;
    LogText logText_;
};

} // namespace fluvane
