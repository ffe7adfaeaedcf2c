// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QProcess>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// A process of the test's, gone with it at the latest.
class ChildProcess {
public:
    ChildProcess(const QString& program, const QStringList& arguments,
                 const std::vector<std::pair<QString, QString>>& environment = {});
    ~ChildProcess();
    /// Stops answering, without going away.
    void hang();
    void goOn();
    [[nodiscard]] QProcess& process() { return process_; }

private:
    QProcess process_;
};

/// A service as the test plays it: python-dbusmock, with a template.
class MockService {
public:
    struct Kind {
        const char* name; ///< On the bus.
        const char* path;
        const char* script; ///< The template: ours by file name, else python-dbusmock's.
        const char* desktop;
    };
    static constexpr Kind gnome{"org.gnome.SessionManager", "/org/gnome/SessionManager",
                                "session_inhibitors.py", "gnome"};
    static constexpr Kind kde{"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
                              "session_inhibitors.py", "kde"};
    static constexpr Kind login{"org.freedesktop.login1", "/org/freedesktop/login1", "login.py", ""};
    static constexpr Kind network{"org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager",
                                  "networkmanager", ""};

    /// Ready when it returns.
    MockService(const std::string& address, const QDBusConnection& control, const Kind& kind,
                const char* parameters = "{}");
    ~MockService();
    QVariant call(const char* interface, const char* method, const QVariantList& arguments = {});
    /// What is granted right now.
    QStringList held();
    void hang() { process_.hang(); }
    void goOn() { process_.goOn(); }

private:
    QDBusConnection control_;
    Kind kind_;
    ChildProcess process_;
};

/// A bus of the test's own that plays both, and the application's main queue.
class DesktopTest : public testing::Test {
protected:
    DesktopTest();
    ~DesktopTest() override;
    static QCoreApplication& theApplication(); ///< One for all tests, until the program ends.

    void startDaemon();
    void endDaemon();
    /// Runs the loop until the condition holds; false if it doesn't in time.
    static bool runUntil(const std::function<bool()>& condition, double seconds = 20);
    /// What was on its way to the bus's connection has arrived.
    static void catchUp(const Bus& bus);
    /// Connected.
    static void startBus(Bus& bus);
    std::unique_ptr<MockService> start(const MockService::Kind& kind, const char* parameters = "{}") {
        return std::make_unique<MockService>(address, *control, kind, parameters);
    }

    support::TemporaryFolder folder;
    std::string address = "unix:path=" + (folder / "run/bus").string();
    QCoreApplication& application = theApplication();
    LinuxScheduler scheduler;
    std::unique_ptr<ChildProcess> daemon;
    std::optional<QDBusConnection> control; ///< The test's own.
    std::vector<std::string> errors;        ///< Logged.
};

} // namespace fluvane
