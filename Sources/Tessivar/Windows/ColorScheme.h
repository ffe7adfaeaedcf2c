#pragma once

#include <QObject>
#include <QPalette>

class QDBusConnection;
class QDBusMessage;
class QDBusVariant;

namespace tessivar {

/// Makes windows light or dark as the desktop's settings portal asks, where nothing else does: under a
/// desktop that brings a platform theme of its own, and without a portal, all stays as it is. Main thread,
/// with a QApplication.
class ColorScheme : public QObject {
    Q_OBJECT

public:
    ColorScheme();

    /// Asks, without waiting for the answer, and follows changes. For each connection that is made.
    void follow(const QDBusConnection& connection);

    [[nodiscard]] static QPalette light();
    [[nodiscard]] static QPalette dark();

private:
    Q_SLOT void settingChanged(const QString& space, const QString& key, const QDBusVariant& value);
    void apply(const QVariant& value);

    bool followsAlready_; ///< The platform theme looks after the colours.
};

} // namespace tessivar
