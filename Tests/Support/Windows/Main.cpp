// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include <QApplication>

#include <gmock/gmock.h>

/// Every window test runs without a screen, the same on every machine.
int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qunsetenv("XDG_CURRENT_DESKTOP");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    qputenv("LC_ALL", "C.UTF-8");
    testing::InitGoogleMock(&argc, argv);
    QApplication::setStyle("Fusion");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
