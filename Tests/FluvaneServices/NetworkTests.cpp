// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "FluvaneServices/DesktopFixture.h"
#include "Support/ManualScheduler.h"

#include <QDBusVariant>

#include <gmock/gmock.h>

namespace fluvane {

using testing::ElementsAre;

namespace {

using Report = NetworkWatch::Report;
constexpr const char* manager = "org.freedesktop.NetworkManager";

/// Time stands still; tells when something waits for it.
struct WaitingScheduler : support::ManualScheduler {
    std::shared_ptr<Cancellable> after(double seconds, std::function<void()> work) override {
        ++waits;
        return ManualScheduler::after(seconds, std::move(work));
    }
    int waits = 0;
};

class NetworkTest : public DesktopTest {
protected:
    NetworkTest() {
        startDaemon();
        startBus(system);
    }
    void startManager(const char* parameters = "{}") { service = start(MockService::network, parameters); }
    void startWatch() {
        watch.start([this](const Report& report) { reports.push_back(report); });
    }
    void set(const char* property, const QVariant& value) {
        service->call("org.freedesktop.DBus.Properties", "Set",
                      {manager, property, QVariant::fromValue(QDBusVariant(value))});
    }
    bool waits(int count) {
        return runUntil([&] { return time.waits == count; });
    }
    bool reported(std::size_t count) {
        return runUntil([&] { return reports.size() == count; });
    }

    Bus system{Bus::Kind::system, scheduler, address};
    WaitingScheduler time;
    std::unique_ptr<MockService> service;
    DesktopNetworkWatch watch{system, time};
    std::vector<Report> reports;
};

} // namespace

TEST_F(NetworkTest, ReportsWhatNetworkManagerSays) {
    struct Row {
        const char* name;
        uint state;
        uint metered;
        const char* type;
        Report expected;
    };
    constexpr auto hotspot = LimitedNetwork::hotspot;
    constexpr auto lowDataMode = LimitedNetwork::lowDataMode;
    const std::vector<Row> rows{
        {"unknown", 0, 0, "", {true, {}}},
        {"asleep", 10, 0, "", {false, {}}},
        {"disconnected", 20, 0, "", {false, {}}},
        {"disconnecting", 30, 0, "", {false, {}}},
        {"connecting", 40, 0, "", {true, {}}},
        {"local only", 50, 0, "", {true, {}}},
        {"connected", 70, 4, "802-11-wireless", {true, {}}},
        {"the same again", 70, 4, "802-11-wireless", {true, {}}},
        {"not metered, says the user", 70, 2, "802-11-wireless", {true, {}}},
        {"metered, says the user", 70, 1, "802-3-ethernet", {true, lowDataMode}},
        {"metered by a guess", 70, 3, "802-11-wireless", {true, hotspot}},
        {"by bluetooth", 70, 4, "bluetooth", {true, hotspot}},
        {"by phone", 70, 1, "gsm", {true, hotspot}},
        {"by another phone", 60, 2, "cdma", {true, hotspot}},
        {"offline and metered", 20, 3, "", {false, hotspot}},
    };
    startManager();
    service->call("org.freedesktop.DBus.Mock", "AddProperty",
                  {manager, "Metered", QVariant::fromValue(QDBusVariant(0U))});
    service->call("org.freedesktop.DBus.Mock", "AddProperty",
                  {manager, "PrimaryConnectionType", QVariant::fromValue(QDBusVariant(QString()))});
    startWatch();
    ASSERT_TRUE(reported(1));
    EXPECT_EQ(reports.back(), Report{}) << "at once, without waiting";
    EXPECT_EQ(time.waits, 0);
    for (const auto& [name, state, metered, type, expected] : rows) {
        SCOPED_TRACE(name);
        const auto before = reports.size();
        set("State", state);
        set("Metered", metered);
        set("PrimaryConnectionType", QString(type));
        catchUp(system);
        time.runFor(1.0);
        ASSERT_TRUE(reported(before + 1));
        EXPECT_EQ(reports.back(), expected);
    }
}

TEST_F(NetworkTest, SettlesASecondAfterTheFirstChange) {
    startManager();
    startWatch();
    ASSERT_TRUE(reported(1));
    set("State", 30U);
    ASSERT_TRUE(waits(1));
    time.runFor(0.9);
    for (const uint state : {20U, 40U, 60U, 70U}) {
        set("State", state);
    }
    set("WirelessEnabled", false);
    catchUp(system);
    EXPECT_EQ(reports.size(), 1U);
    time.runFor(0.1);
    ASSERT_TRUE(reported(2));
    EXPECT_EQ(reports.back(), Report{});
    EXPECT_EQ(time.waits, 1);

    set("WirelessEnabled", true); // no change of ours
    catchUp(system);
    EXPECT_EQ(time.waits, 1);
}

TEST_F(NetworkTest, ARestartIsNoLossOfTheNetwork) {
    startManager();
    startWatch();
    ASSERT_TRUE(reported(1));
    service.reset();
    ASSERT_TRUE(waits(1));
    startManager();
    ASSERT_TRUE(waits(2));
    time.runFor(1.0);
    ASSERT_TRUE(reported(2));
    EXPECT_THAT(reports, ElementsAre(Report{}, Report{}));
}

TEST_F(NetworkTest, WithoutAManagerThatWasThereAllIsWell) {
    startManager(R"({"State": 20})");
    startWatch();
    ASSERT_TRUE(reported(1));
    EXPECT_FALSE(reports.back().online);
    service.reset();
    ASSERT_TRUE(waits(1));
    time.runFor(1.0);
    EXPECT_THAT(reports, ElementsAre(Report{false, {}}, Report{}));

    startManager();
    ASSERT_TRUE(waits(2));
    endDaemon(); // the bus itself
    ASSERT_TRUE(waits(3));
    time.runFor(1.0);
    EXPECT_EQ(reports.back(), Report{});
}

TEST_F(NetworkTest, AManagerThatHangsHasSaidNothing) {
    startManager(R"({"State": 20})");
    service->hang();
    startWatch();
    catchUp(system);
    time.runFor(60);
    EXPECT_THAT(reports, ElementsAre());
    service->goOn();
    ASSERT_TRUE(reported(1));
    EXPECT_FALSE(reports.back().online);
}

TEST_F(NetworkTest, ThatThereIsNoManagerIsToldAtOnceAndItCountsWhenItComes) {
    startWatch();
    ASSERT_TRUE(reported(1));
    EXPECT_EQ(reports.back(), Report{});
    startManager(R"({"State": 20})");
    ASSERT_TRUE(reported(2));
    EXPECT_FALSE(reports.back().online);
}

TEST_F(NetworkTest, ThatThereIsNoBusIsToldAtOnce) {
    endDaemon();
    Bus none(Bus::Kind::system, scheduler, "");
    DesktopNetworkWatch watching(none, time);
    int told = 0;
    watching.start([&](const Report& report) { told += report == Report{} ? 1 : 100; });
    none.start();
    ASSERT_TRUE(runUntil([&] { return told == 1; }));
}

} // namespace fluvane
