// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QDBusContext>
#include <QObject>
#include <QPalette>

#include <optional>

class QDBusConnection;
class QDBusMessage;

namespace tessivar {

/// Makes windows light or dark, gives them the accent and keeps them still as the desktop's settings portal
/// asks, where nothing else looks after their colours; a desktop that brings a platform theme or a style of
/// its own is left alone. Light without a portal. KDE's own factor for animations keeps them still, too. Main
/// thread, with a QApplication.
class Appearance : public QObject, protected QDBusContext {
    Q_OBJECT

public:
    Appearance();

    /// Asks, without waiting for the answer, and follows changes; again where a portal comes later. For each
    /// connection that is made.
    void follow(const QDBusConnection& connection);

    /// Text stands out from its ground by 4.5:1 at least.
    [[nodiscard]] static QPalette light();
    [[nodiscard]] static QPalette dark();

private:
    Q_SLOT void settingChanged(const QDBusMessage& signal);
    Q_SLOT void ownerChanged(const QDBusMessage& signal);
    void ask(const QDBusConnection& connection);
    void applyMotion();
    void apply(const QString& setting, const QVariant& given);
    [[nodiscard]] QPalette accented(QPalette palette) const;

    bool isOurs_; ///< Nothing else gives windows their colours.
    bool isDark_ = false;
    bool wantsLessMotion_ = false; ///< Any of three settings keeps windows still.
    bool hasNoAnimations_ = false;
    bool isStillInKDE_;
    std::optional<QColor> accent_; ///< The desktop's own.
};

} // namespace tessivar
