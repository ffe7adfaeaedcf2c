// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Support/TemporaryFolder.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include <sys/prctl.h>

namespace fluvane::support {

/// A message bus of the test's own, on which windows meet what the test plays itself. How the services fare
/// on a bus is tested from outside.
class BusTest : public testing::Test {
protected:
    ~BusTest() override { endDaemon(); }

    void startDaemon() {
        writeFile(folder / "bus.conf",
                  "<busconfig><type>session</type><listen>" + address +
                      R"(</listen><policy context="default"><allow send_destination="*"/>)"
                      R"(<allow receive_sender="*"/><allow own="*"/></policy></busconfig>)");
        daemon_.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        daemon_.start("dbus-daemon", {"--nofork", "--print-address",
                                      "--config-file=" + QString::fromStdString(folder / "bus.conf")});
        ASSERT_TRUE(daemon_.waitForReadyRead());
        control = QDBusConnection::connectToBus(QString::fromStdString(address), "control");
        ASSERT_TRUE(control->isConnected());
    }
    void endDaemon() {
        control.reset();
        QDBusConnection::disconnectFromBus("control");
        daemon_.kill();
        daemon_.waitForFinished();
    }
    /// False if the condition doesn't hold in time.
    static bool runUntil(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 20'000);
    }
    /// What was on its way to the bus's connection has arrived.
    static void catchUp(const Bus& bus) {
        const QDBusPendingCallWatcher answer(
            bus.connection().value().asyncCall(QDBusMessage::createMethodCall(
                "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId")));
        bool answered = false;
        QObject::connect(&answer, &QDBusPendingCallWatcher::finished, &answer, [&] { answered = true; });
        ASSERT_TRUE(runUntil([&] { return answered; }));
    }
    /// Connected.
    static void startBus(Bus& bus) {
        bus.start();
        ASSERT_TRUE(runUntil([&] { return bus.connection().has_value(); }));
    }

    TemporaryFolder folder;
    std::string address = "unix:path=" + (folder / "bus").string();
    LinuxScheduler scheduler;
    std::optional<QDBusConnection> control; ///< The test's own.

private:
    QProcess daemon_;
};

} // namespace fluvane::support
