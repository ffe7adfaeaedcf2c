// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class QListWidget;
class QStackedWidget;

namespace fluvane {

class LiveConfig;
class MessageLine;

/// Every setting, in five panes. A change is in force at once; what is changed elsewhere meanwhile is
/// followed.
class SettingsWindow : public QWidget {
    Q_OBJECT

public:
    /// What the window shows that isn't a setting. Texts are handed over on the main queue, at once or later;
    /// one that comes when the window is gone is dropped. Functions may be empty: the window then does
    /// without what they are for.
    struct Extras {
        using Text = std::function<void(std::string)>;
        std::function<void(Text)> log{};         ///< The log of the last minutes.
        std::function<void(Text)> diagnostics{}; ///< The report that a user can send.
        /// Why the settings file couldn't be used, in a sentence; empty when all is well.
        std::function<std::string()> problem{};
        /// Looks for a newer release now, and tells the user what it found. Empty: this build has none.
        std::function<void()> checkForUpdates{};
    };

    /// What it is given must outlive it.
    SettingsWindow(WindowContext& context, Autostart& autostart, Extras extras);
    ~SettingsWindow() override;

    /// "general", "files", "rules", "connections" or "about"; any other name means the first.
    void showPane(std::string_view name);
    /// The user went to another pane.
    Q_SIGNAL void paneShown(const QString& name);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void build();
    void addPane(const char* name, const QString& title, const char* icon, QWidget* pane);
    void addKeys();
    void tellOfProblem();
    void moveOn();

    Extras extras_;
    LiveConfig* config_;
    MessageLine* message_;
    QListWidget* sidebar_;
    QStackedWidget* panes_;
    bool isAsked_ = false;           ///< A pane is shown as a caller wants it.
    std::vector<std::string> names_; ///< Of the panes, in their order.
};

} // namespace fluvane
