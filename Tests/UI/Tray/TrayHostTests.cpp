// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/TrayHost.h"

#include "Support/Windows/BusTest.h"

#include <QDBusAbstractAdaptor>

namespace fluvane {

namespace {

constexpr auto watcherName = "org.kde.StatusNotifierWatcher";
constexpr auto watcherPath = "/StatusNotifierWatcher";
using Kind = TrayHost::Kind;

} // namespace

/// The watcher as a desktop plays it.
class WatcherInterface : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isRegistered)

public:
    explicit WatcherInterface(QObject* object) : QDBusAbstractAdaptor(object) {}
    bool isRegistered() const { return hosts > 0; }
    Q_SIGNAL void StatusNotifierHostRegistered();
    Q_SIGNAL void StatusNotifierHostUnregistered();
    int hosts = 0;
};

namespace {

class MockWatcher {
public:
    explicit MockWatcher(const QDBusConnection& connection) : connection_(connection) {
        connection_.registerObject(watcherPath, &object_);
        connection_.registerService(watcherName);
    }
    ~MockWatcher() {
        connection_.unregisterService(watcherName);
        connection_.unregisterObject(watcherPath);
    }
    MockWatcher(const MockWatcher&) = delete;
    MockWatcher& operator=(const MockWatcher&) = delete;
    void addHost() {
        ++interface_->hosts;
        Q_EMIT interface_->StatusNotifierHostRegistered();
    }
    void removeHost() {
        --interface_->hosts;
        Q_EMIT interface_->StatusNotifierHostUnregistered();
    }

private:
    QObject object_;
    WatcherInterface* interface_ = new WatcherInterface(&object_);
    QDBusConnection connection_;
};

class TrayHostTest : public support::BusTest {
protected:
    bool becomes(TrayHost& host, Kind kind) {
        return runUntil([&] { return host.kind() == kind; });
    }
    Bus bus{Bus::Kind::session, scheduler, address};
    static constexpr std::chrono::milliseconds endless = std::chrono::hours(1);
};

} // namespace

TEST_F(TrayHostTest, ComesLateLeavesAndReturns) {
    TrayHost host(
        bus, [] { return true; }, endless);
    int changes = 0;
    QObject::connect(&host, &TrayHost::changed, &host, [&] { ++changes; });
    startDaemon();
    startBus(bus);
    catchUp(bus);
    EXPECT_EQ(host.kind(), Kind::none);

    auto watcher = std::make_unique<MockWatcher>(*control);
    catchUp(bus);
    EXPECT_EQ(host.kind(), Kind::none) << "a watcher without a host";
    watcher->addHost();
    EXPECT_TRUE(becomes(host, Kind::statusNotifier));
    watcher->addHost();
    watcher->removeHost();
    catchUp(bus);
    EXPECT_EQ(host.kind(), Kind::statusNotifier) << "another is left";
    watcher->removeHost();
    EXPECT_TRUE(becomes(host, Kind::none));

    watcher->addHost();
    EXPECT_TRUE(becomes(host, Kind::statusNotifier));
    watcher.reset(); // the desktop's shell restarts
    EXPECT_TRUE(becomes(host, Kind::none));
    watcher = std::make_unique<MockWatcher>(*control);
    watcher->addHost();
    EXPECT_TRUE(becomes(host, Kind::statusNotifier));

    watcher.reset();
    endDaemon();
    EXPECT_TRUE(becomes(host, Kind::none));
    EXPECT_EQ(changes, 6);
}

TEST_F(TrayHostTest, TakesAnOldTrayOnlyAfterSomePatience) {
    startDaemon();
    startBus(bus);
    bool hasTray = false;
    int asked = 0;
    const auto tray = [&] {
        ++asked;
        return hasTray;
    };
    TrayHost nothing(bus, tray, std::chrono::milliseconds(1));
    EXPECT_TRUE(runUntil([&] { return asked == 1; }));
    EXPECT_EQ(nothing.kind(), Kind::none);

    hasTray = true;
    TrayHost old(bus, tray, std::chrono::milliseconds(1));
    EXPECT_TRUE(becomes(old, Kind::embedding));
    MockWatcher watcher(*control);
    watcher.addHost();
    EXPECT_TRUE(becomes(nothing, Kind::statusNotifier));
    TrayHost modern(bus, tray, endless);
    EXPECT_TRUE(becomes(modern, Kind::statusNotifier));
    EXPECT_EQ(old.kind(), Kind::embedding) << "for good";
}

} // namespace fluvane

#include "TrayHostTests.moc"
