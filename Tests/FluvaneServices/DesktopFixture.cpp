// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneServices/DesktopFixture.h"

#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <sys/prctl.h>

namespace fluvane {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* mockInterface = "org.freedesktop.DBus.Mock";

/// Nobody but us on it, and nothing to be started by it.
constexpr const char* configuration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>%1</listen><auth>EXTERNAL</auth><policy context="default">
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>)";

QString templateFile(const char* script) {
    const QString name(script);
    return name.endsWith(".py") ? QString(FLUVANE_MOCKS "/") + name : name;
}

QVariant callOver(QDBusConnection& connection, const QString& service, const QString& path,
                  const QString& interface, const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    const auto answer = connection.call(message, QDBus::Block, 10000);
    if (answer.type() == QDBusMessage::ErrorMessage) {
        throw std::runtime_error(method.toStdString() + ": " + answer.errorMessage().toStdString());
    }
    return answer.arguments().value(0);
}

bool hasOwner(QDBusConnection& connection, const QString& service) {
    return callOver(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                    "NameHasOwner", {service})
        .toBool();
}

/// By looking again and again, where there is nothing that could wake us.
bool pollUntil(const std::function<bool()>& condition, double seconds) {
    QTimer again;
    again.start(10);
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace

ChildProcess::ChildProcess(const QString& program, const QStringList& arguments,
                           const std::vector<std::pair<QString, QString>>& environment) {
    auto variables = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : environment) {
        variables.insert(name, value);
    }
    process_.setProcessEnvironment(variables);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_.start(program, arguments, QIODevice::ReadOnly);
    if (!process_.waitForStarted()) {
        throw std::runtime_error("couldn't start " + program.toStdString());
    }
}

ChildProcess::~ChildProcess() {
    process_.kill();
    process_.waitForFinished();
}

void ChildProcess::hang() {
    kill(static_cast<pid_t>(process_.processId()), SIGSTOP);
}

void ChildProcess::goOn() {
    kill(static_cast<pid_t>(process_.processId()), SIGCONT);
}

MockService::MockService(const std::string& address, const QDBusConnection& control, const Kind& kind,
                         const char* parameters)
    : control_(control), kind_(kind),
      process_(
          FLUVANE_PYTHON,
          {"-B", "-m", "dbusmock", "--session", "-t", templateFile(kind.script), "-p", parameters},
          {{"DBUS_SESSION_BUS_ADDRESS", QString::fromStdString(address)}, {"MOCK_DESKTOP", kind.desktop}}) {
    if (!pollUntil([this] { return hasOwner(control_, kind_.name); }, 20)) {
        throw std::runtime_error(std::string("the mock doesn't come: ") + kind.name);
    }
}

/// Gone from the bus when it returns, for who doesn't look at the loop.
MockService::~MockService() {
    process_.process().kill();
    process_.process().waitForFinished();
    if (control_.isConnected()) {
        pollUntil([this] { return !hasOwner(control_, kind_.name); }, 20);
    }
}

QVariant MockService::call(const char* interface, const char* method, const QVariantList& arguments) {
    return callOver(control_, kind_.name, kind_.path, interface, method, arguments);
}

QStringList MockService::held() {
    return call(mockInterface, "Held").toStringList();
}

DesktopTest::DesktopTest() {
    tessivar::AppIdentity::current.displayName = "Fluvane";
    tessivar::AppIdentity::current.identifier = "org.example.Fluvane";
    tessivar::Log::setSink([this](auto level, std::string_view, std::string_view message) {
        if (level == tessivar::Log::Level::error) {
            errors.push_back(tessivar::log::shown(message));
        }
    });
}

DesktopTest::~DesktopTest() {
    tessivar::Log::setSink({});
    endDaemon();
}

QCoreApplication& DesktopTest::theApplication() {
    if (auto* const running = QCoreApplication::instance()) {
        return *running;
    }
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static auto& application = *new QCoreApplication(count, arguments);
    return application;
}

void DesktopTest::startDaemon() {
    std::filesystem::create_directories(folder / "run");
    support::writeFile(folder / "bus.conf", QString(configuration).arg(address.c_str()).toStdString());
    daemon = std::make_unique<ChildProcess>(
        "dbus-daemon",
        QStringList{"--nofork", "--print-address",
                    "--config-file=" + QString::fromStdString((folder / "bus.conf").string())});
    ASSERT_TRUE(daemon->process().waitForReadyRead());
    control = QDBusConnection::connectToBus(QString::fromStdString(address), "control");
    ASSERT_TRUE(control->isConnected());
}

void DesktopTest::endDaemon() {
    control.reset();
    QDBusConnection::disconnectFromBus("control");
    daemon.reset();
}

bool DesktopTest::runUntil(const std::function<bool()>& condition, double seconds) {
    return pollUntil(condition, seconds);
}

void DesktopTest::catchUp(const Bus& bus) {
    const QDBusPendingCallWatcher answer(bus.connection().value().asyncCall(QDBusMessage::createMethodCall(
        "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId")));
    bool answered = false;
    QObject::connect(&answer, &QDBusPendingCallWatcher::finished, &answer, [&] { answered = true; });
    ASSERT_TRUE(pollUntil([&] { return answered; }, 20));
}

void DesktopTest::startBus(Bus& bus) {
    bus.start();
    ASSERT_TRUE(pollUntil([&] { return bus.connection().has_value(); }, 20));
}

} // namespace fluvane
