// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/ApplicationWindows.h"
#include "Fluvane/Ports/Autostart.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/Models/WindowContext.h"
#include "Tessivar/Windows/WindowPlaces.h"

#include <QPointer>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class QMessageBox;

namespace tessivar {
class Appearance;
class FilePortal;
} // namespace tessivar

namespace fluvane {

class Bus;
class DownloadsWindow;
class NewDownloadWindow;
class SettingsWindow;
class StatusMenu;
class WelcomeWindow;
struct DownloadsPlace;

/// The windows of the application, each made when it is first asked for, and the tray item. Main thread;
/// needs a QApplication.
class DesktopWindows : public ApplicationWindows {
public:
    /// What it is given must outlive it. Sizes of windows and folders used last are kept in the state folder.
    DesktopWindows(DownloadManager& manager, SettingsAccess& settings, FileActions& files,
                   Autostart& autostart, Bus& session, const std::string& stateFolder, SelfDescription self);
    ~DesktopWindows() override;
    DesktopWindows(const DesktopWindows&) = delete;
    DesktopWindows& operator=(const DesktopWindows&) = delete;

    void start() override;
    void listChanged() override { feed_.listChanged(); }

    void showDownloads(std::optional<DownloadID> selected) override;
    void showAdded(const std::vector<DownloadID>& ids) override;
    void newDownload(const std::vector<URL>& links, const std::optional<URL>& referrer,
                     const SharedSession& session) override;
    void showOffers(const std::vector<PendingOffer>& offers, AnswerOffer answer) override;
    void showSettings(std::string_view pane) override;
    void showWelcome() override;
    void showWelcomeInBackground() override;
    void showWhatsNew() override;
    void showCrashNote() override;
    void showWhatsNew(const std::string& text) override;
    void showCrashNote(const std::string& note) override;
    void changeLink(DownloadID id) override;
    void editChecksum(DownloadID id) override;
    void rename(DownloadID id) override;
    void changeFolder(const std::vector<DownloadID>& ids) override;
    void quit() override;
    void tellProblem(const std::string& sentence) override;
    void useActivationToken(const std::string& token) override;
    [[nodiscard]] std::string state() override;
    [[nodiscard]] bool isListWatched() const override;
    void snapshot(const Pictures& into, Drawn completion) override;

private:
    /// Shows it, or brings it to the front.
    void present(QWidget& window);
    [[nodiscard]] DownloadsWindow& downloads();
    [[nodiscard]] NewDownloadWindow& newDownloadWindow();
    [[nodiscard]] SettingsWindow& settingsWindow();
    [[nodiscard]] WelcomeWindow& welcome();
    void noticeWhatIsSeen();
    void presentDownloads();
    void downloadsClosed();
    void dropUnseen();
    void askBeforeQuitting(int count);
    [[nodiscard]] std::vector<std::string> draw(const Pictures& into);

    ListFeed feed_;
    WindowContext context_;
    Autostart& autostart_;
    Bus& session_;
    std::string stateFolder_;
    SelfDescription self_;
    tessivar::WindowPlaces places_; ///< Of all but the list's.
    RecentFolders recentFolders_;
    std::string activationToken_;
    std::unique_ptr<tessivar::Appearance> appearance_;
    std::unique_ptr<tessivar::FilePortal> portal_;
    std::unique_ptr<QObject> hiding_; ///< Sees windows be hidden.
    std::unique_ptr<DownloadsWindow> downloads_;
    std::unique_ptr<DownloadsPlace> place_; ///< Of one that isn't there at the moment.
    std::unique_ptr<NewDownloadWindow> newDownload_;
    std::unique_ptr<SettingsWindow> settings_;
    std::unique_ptr<StatusMenu> tray_;
    std::vector<QPointer<QWidget>> passing_; ///< Windows that end when they are closed.
    QPointer<QMessageBox> quitQuestion_;
};

} // namespace fluvane
