// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Commands/Offers.h"
#include "Fluvane/Commands/Reply.h"
#include "Fluvane/Ports/SettingsAccess.h"
#include "Fluvane/Ports/Windows.h"
#include "FluvaneEngine/DownloadManager.h"

#include <functional>
#include <memory>
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
    /// What the commands need besides the list and the settings. Each may be empty, and then can't be had.
    struct Rooms {
        /// Gathers a text off the main queue and calls back on it.
        using Text = std::function<void(std::function<void(std::string)>)>;
        Text log{}; ///< Of the last 10 minutes.
        Text diagnostics{};
        std::function<std::string()> crashNote{};
        std::function<void()> update{}; ///< Begins a check for updates; the user is told of its result.
        Windows* windows = nullptr;     ///< Null without a display.
        std::shared_ptr<Scheduler> scheduler{}; ///< Offers need it.
        ServerCounts::Storage offers{};         ///< Kept for the next run; may be empty.
    };

    /// What it is given must outlive it.
    CommandCenter(DownloadManager& manager, SettingsAccess& settings, Rooms rooms);

    /// The command first. Completes exactly once, before it returns or on a later turn of the main queue.
    void run(const Arguments& arguments, const ReplyCompletion& completion);
    /// Once, when the list is loaded: with what a former run had begun for others.
    void carryOn() { offers_.carryOn(); }
    /// A link of the scheme `fluvane`. Never downloads anything unasked. The answer is for whoever can show
    /// it: browsers can't.
    Reply open(const URL& link);
    /// What other programs hand over to be downloaded: links of the scheme, web links, files with links.
    /// Never downloads anything unasked either.
    Reply open(const std::vector<std::string>& things);
    /// An action of the desktop entry: "show", "new-download", "settings", "pause-all", "resume-all".
    Reply act(std::string_view action);

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
    Reply settings(const Arguments& arguments);
    Reply welcome(const Arguments& arguments);
    Reply whatsNew(const Arguments& arguments);
    Reply state(const Arguments& arguments);
    Reply crashNote(const Arguments& arguments);
    Reply update(const Arguments& arguments);

    Reply offer(const Arguments& arguments);
    Reply offerState(const Arguments& arguments);
    Reply offerVerdict(const Arguments& arguments);
    Reply running(const Arguments& arguments);

    void snapshot(const Arguments& arguments, const ReplyCompletion& completion);
    bool runLater(const std::string& name, const Arguments& arguments, const ReplyCompletion& completion);
    /// Asks something of the windows, where there are any.
    Reply window(const std::function<void(Windows&)>& ask);
    Reply confirm(const std::vector<URL>& links, const std::optional<URL>& referrer = std::nullopt);
    using All = void (DownloadManager::*)();
    using One = void (DownloadManager::*)(DownloadID);
    Reply onDownloads(const char* command, const Arguments& arguments, All all, One one);
    Reply setLimit(std::optional<std::int64_t> bytesPerSecond);
    /// The download a whole number names; null for any other text.
    [[nodiscard]] const Download* numbered(const Arguments& arguments) const;

    DownloadManager& manager_;
    SettingsAccess& settings_;
    Rooms rooms_;
    Offers offers_;
};

} // namespace fluvane
