// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Windows.h"

#include <functional>
#include <string>
#include <vector>

namespace fluvane {

/// The windows as the application has them: made at the start, fed with changes. The main queue's.
class ApplicationWindows : public Windows {
public:
    /// Whether the user has the list of downloads before them, so that nobody needs to tell what happens in
    /// it.
    [[nodiscard]] virtual bool isListWatched() const = 0;

    struct Notice {
        std::string title;
        std::string body;
    };
    /// What the application tells about itself.
    struct SelfDescription {
        using Text = std::function<void(std::function<void(std::string)>)>;
        Text log{}; ///< Of the last 10 minutes.
        Text diagnostics{};
        std::function<std::string()> settingsProblem{}; ///< Why the settings can't be used, or nothing.
        std::function<std::string()> whatsNew{};
        std::function<std::string()> crashNote{};
        std::function<std::vector<Notice>()> notices{};
        std::function<void(const Notice&)> tell{};
        std::function<void()> checkForUpdates{}; ///< Empty where this build doesn't.
    };

    /// Looks for a tray. Once.
    virtual void start() = 0;
    /// What the manager's observer tells of changes.
    virtual void listChanged() = 0;
    /// Behind what the user is at: a program started this one, for a person who doesn't know it yet.
    virtual void showWelcomeInBackground() = 0;
    using Windows::showCrashNote;
    using Windows::showWhatsNew;
    virtual void showWhatsNew(const std::string& text) = 0;
    virtual void showCrashNote(const std::string& note) = 0;
};

} // namespace fluvane
