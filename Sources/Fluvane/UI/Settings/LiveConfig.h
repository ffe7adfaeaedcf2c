// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QObject>
#include <QString>

#include <functional>

namespace fluvane {

/// The settings as the panes work with them: changes are in force at once, and every control follows what is
/// in force, whoever changed it.
class LiveConfig : public QObject {
    Q_OBJECT

public:
    /// The context must outlive it.
    explicit LiveConfig(WindowContext& context);

    [[nodiscard]] Config config() const { return settings_.config(); }
    /// The folder that a path in the settings stands for; the user's download folder for none.
    [[nodiscard]] URL folder(const std::optional<std::string>& path) const { return manager_.folder(path); }
    /// Changes one thing of the settings as they are now. Where that fails the reason is told, and what is in
    /// force is shown again.
    bool change(const std::function<void(Config&)>& change);
    /// Shows something, now and after every change.
    void show(QObject* context, const std::function<void(const Config&)>& show);

    [[nodiscard]] SettingsAccess& settings() { return settings_; }

    Q_SIGNAL void changed(const fluvane::Config& config);
    /// What the user changed here is in force.
    Q_SIGNAL void saved();
    Q_SIGNAL void failed(const QString& sentence);

private:
    const DownloadManager& manager_;
    SettingsAccess& settings_;
    tessivar::Subscription changes_;
};

} // namespace fluvane
