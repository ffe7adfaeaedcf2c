// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/ColorScheme.h"
#include "Tessivar/Windows/Colors.h"

#include "Support/Windows/BusTest.h"

#include <QApplication>
#include <QDBusVariant>
#include <QStyleFactory>

#include <utility>
#include <vector>

namespace fluvane {

/// The desktop's settings portal.
class MockPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit MockPortal(const QDBusConnection& connection) : connection_(connection) {
        connection_.registerObject("/org/freedesktop/portal/desktop", this,
                                   QDBusConnection::ExportAllInvokables | QDBusConnection::ExportAllSignals);
        connection_.registerService("org.freedesktop.portal.Desktop");
    }
    /// Wrapped once more than it need be, as portals do.
    Q_INVOKABLE QDBusVariant Read(const QString& space, const QString& key) {
        asked = space + " " + key;
        return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme)));
    }
    Q_SIGNAL void SettingChanged(const QString& space, const QString& key, const QDBusVariant& value);
    void choose(unsigned value, const QString& key = "color-scheme") {
        Q_EMIT SettingChanged("org.freedesktop.appearance", key, QDBusVariant(value));
    }
    unsigned scheme = 1;
    QString asked;

private:
    QDBusConnection connection_;
};

namespace {

using tessivar::ColorScheme;
using tessivar::contrast;

bool isDark() {
    return QApplication::palette().color(QPalette::Window).lightness() < 128;
}

class ColorSchemeTest : public support::BusTest {
protected:
    ~ColorSchemeTest() override {
        QApplication::setStyle("Fusion");
        QApplication::setPalette(QPalette());
    }
    Bus bus{Bus::Kind::session, scheduler, address};
};

} // namespace

TEST_F(ColorSchemeTest, TextStandsOut) {
    using Role = QPalette::ColorRole;
    const std::vector<std::pair<Role, Role>> pairs = {
        {Role::WindowText, Role::Window},
        {Role::Text, Role::Base},
        {Role::Text, Role::AlternateBase},
        {Role::ButtonText, Role::Button},
        {Role::HighlightedText, Role::Highlight},
        {Role::PlaceholderText, Role::Base},
        {Role::PlaceholderText, Role::Window},
        {Role::Link, Role::Base},
        {Role::Link, Role::Window},
        {Role::LinkVisited, Role::Window},
        {Role::ToolTipText, Role::ToolTipBase},
    };
    EXPECT_NEAR(contrast(Qt::black, Qt::white), 21, 0.01);
    EXPECT_NEAR(contrast(QColor(0x76, 0x76, 0x76), Qt::white), 4.54, 0.01);
    for (const auto& palette : {ColorScheme::light(), ColorScheme::dark()}) {
        for (const auto& [text, ground] : pairs) {
            EXPECT_GE(contrast(palette.color(text), palette.color(ground)), 4.5) << text << " on " << ground;
        }
    }
}

TEST_F(ColorSchemeTest, FollowsThePortal) {
    startDaemon();
    startBus(bus);
    MockPortal portal(*control);
    ColorScheme scheme;
    EXPECT_FALSE(isDark());
    scheme.follow(*bus.connection());
    EXPECT_TRUE(runUntil(isDark));
    EXPECT_EQ(portal.asked, "org.freedesktop.appearance color-scheme");
    portal.choose(0);
    EXPECT_TRUE(runUntil([] { return !isDark(); }));
    portal.choose(1, "contrast");
    catchUp(bus);
    EXPECT_FALSE(isDark());
    portal.choose(1);
    EXPECT_TRUE(runUntil(isDark));
}

TEST_F(ColorSchemeTest, LeavesTheColoursOfOthersAlone) {
    startDaemon();
    startBus(bus);
    MockPortal portal(*control);
    QPalette theirs = QApplication::palette();
    theirs.setColor(QPalette::Window, Qt::green);
    QApplication::setPalette(theirs);
    ColorScheme scheme;
    scheme.follow(*bus.connection());
    portal.choose(1);
    catchUp(bus);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(Qt::green));
    EXPECT_EQ(portal.asked, "");
}

} // namespace fluvane

#include "ColorSchemeTests.moc"
