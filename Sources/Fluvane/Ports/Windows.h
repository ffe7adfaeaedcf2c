// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Offer.h"
#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/Session.h"
#include "FluvaneCore/URL.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// The application's windows, as commands, the tray and the windows themselves ask for them. A window that
/// stands already comes to the front. The main queue's.
class Windows {
public:
    virtual ~Windows() = default;

    /// With a number, that download is selected, with its details.
    virtual void showDownloads(std::optional<DownloadID> selected = std::nullopt) = 0;
    /// What was just added, selected; details that are closed stay so.
    virtual void showAdded(const std::vector<DownloadID>& ids) = 0;
    /// Nothing is downloaded before the user says so there. Without links it offers those of the clipboard.
    /// Referrer and session are those of these links.
    virtual void newDownload(const std::vector<URL>& links = {},
                             const std::optional<URL>& referrer = std::nullopt,
                             const SharedSession& session = nullptr) = 0;
    /// At the pane "general", "files", "rules", "connections" or "about"; any other name means the first.
    virtual void showSettings(std::string_view pane = {}) = 0;
    virtual void showWelcome() = 0;
    virtual void showWhatsNew() = 0;
    virtual void showCrashNote() = 0;
    /// The questions about one download; nothing for a number that names none.
    virtual void changeLink(DownloadID id) = 0;
    virtual void editChecksum(DownloadID id) = 0;
    virtual void rename(DownloadID id) = 0;
    /// Asks for another folder for all of them.
    virtual void changeFolder(const std::vector<DownloadID>& ids) = 0;
    /// What browsers offer at the moment; none closes the question. An offer that was answered isn't among
    /// the next ones.
    virtual void showOffers(const std::vector<PendingOffer>& offers, AnswerOffer answer) = 0;
    /// Ends the application, after a question while downloads run.
    virtual void quit() = 0;

    /// Tells, where the user looks, of something that was asked for and couldn't be done.
    virtual void tellProblem(const std::string& sentence) = 0;

    /// Lets the next window that is shown come to the front on the user's behalf; may be empty.
    virtual void useActivationToken(const std::string& token) = 0;

    /// What is on screen, what the tray's menu holds, and the notifications sent, as JSON.
    [[nodiscard]] virtual std::string state() = 0;
    struct Pictures {
        std::string folder;
        std::string prefix; ///< Of the files' names.
    };
    /// Draws every window as it stands, and the tray icon, to PNG files in the folder, which is made when it
    /// isn't there. Calls back, on a later turn, with their paths, or with a sentence on what went wrong.
    using Drawn = std::function<void(const std::vector<std::string>& paths, const std::string& problem)>;
    virtual void snapshot(const Pictures& into, Drawn completion) = 0;
};

} // namespace fluvane
