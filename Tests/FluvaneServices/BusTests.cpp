// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/Bus.h"

#include "Fluvane/Linux/Services/BusAddress.h"
#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "Fluvane/Linux/Services/LinuxPower.h"
#include "Fluvane/Linux/Services/SleepWatch.h"
#include "FluvaneServices/DesktopFixture.h"
#include "Support/Rows.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

namespace fluvane {

namespace {

/// A socket where clients connect and nobody ever answers.
class MuteSocket {
public:
    explicit MuteSocket(const std::string& path) {
        sockaddr_un name{.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(name.sun_path, sizeof name.sun_path - 1);
        bind(descriptor_, reinterpret_cast<const sockaddr*>(&name), sizeof name);
        listen(descriptor_, 5);
    }
    ~MuteSocket() { close(descriptor_); }
    MuteSocket(const MuteSocket&) = delete;
    MuteSocket& operator=(const MuteSocket&) = delete;

private:
    int descriptor_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

double secondsFor(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class BusTest : public DesktopTest {};

} // namespace

TEST_F(BusTest, ComesWhenItCanAndAgain) {
    Bus bus(Bus::Kind::session, scheduler, address);
    int connected = 0;
    int lost = 0;
    int atOnce = 0;
    bus.whenConnected([&](const QDBusConnection&) { ++connected; });
    bus.whenLost([&] { ++lost; });
    bus.start(); // its socket's folder isn't there yet, either
    runUntil([] { return false; }, 0.2);
    for (int round = 1; round <= 3; ++round) {
        startDaemon();
        EXPECT_TRUE(runUntil([&] { return connected == round; }, 3)) << round;
        const auto before = atOnce;
        bus.whenConnected(
            [&](const QDBusConnection& connection) { atOnce += connection.isConnected() ? 1 : 0; });
        EXPECT_EQ(atOnce, before + 1);
        endDaemon();
        EXPECT_TRUE(runUntil([&] { return lost == round; }, 3)) << round;
        EXPECT_FALSE(bus.connection());
        if (round == 2) {
            std::filesystem::remove_all(folder / "run");
        }
    }
}

TEST_F(BusTest, OneThatHangsHoldsNobodyUp) {
    const auto mutePath = (folder / "mute").string();
    const MuteSocket mute(mutePath);
    startDaemon();
    std::optional<Bus> hanging(std::in_place, Bus::Kind::session, scheduler, "unix:path=" + mutePath);
    Bus system(Bus::Kind::system, scheduler, address);
    LinuxPower power(*hanging, system);
    EXPECT_LT(secondsFor([&] {
                  hanging->start();
                  power.keepAwake(true);
              }),
              0.1);
    EXPECT_LT(secondsFor([&] { startBus(system); }), 1.0);
    const auto login = start(MockService::login);
    EXPECT_TRUE(runUntil([&] { return login->held().size() == 1; }, 3));
    EXPECT_FALSE(hanging->connection());
}

TEST_F(BusTest, NoCallWaitsForABusThatStopsAnswering) {
    startDaemon();
    Bus bus(Bus::Kind::system, scheduler, address);
    startBus(bus);
    daemon->hang();
    {
        std::optional<LinuxPower> power;
        std::optional<DesktopNetworkWatch> network;
        std::optional<SleepWatch> sleep;
        EXPECT_LT(secondsFor([&] {
                      power.emplace(bus, bus);
                      network.emplace(bus, scheduler);
                      network->start([](auto) {});
                      sleep.emplace(
                          bus, [](const auto&) {}, [] {});
                      power->keepAwake(true);
                  }),
                  0.2);
        EXPECT_LT(secondsFor([&] {
                      power.reset();
                      network.reset();
                      sleep.reset();
                  }),
                  0.2);
    }
    daemon->goOn();
}

TEST_F(BusTest, EndsWhileItConnects) {
    const auto mutePath = (folder / "mute").string();
    const MuteSocket mute(mutePath);
    EXPECT_LT(secondsFor([&] {
                  Bus bus(Bus::Kind::session, scheduler, "unix:path=" + mutePath);
                  bus.start();
                  runUntil([] { return false; }, 0.1);
              }),
              1.0);
}

TEST(BusAddress, IsWhatTheEnvironmentSays) {
    struct Row {
        const char* name;
        const char* address; ///< DBUS_SESSION_BUS_ADDRESS
        const char* folder;  ///< XDG_RUNTIME_DIR
        const char* expected;
    };
    for (const auto& [name, given, runtime, expected] : std::vector<Row>{
             {"said", "unix:abstract=x", "/run/user/1", "unix:abstract=x"},
             {"the user's bus", "", "/run/user/1", "unix:path=/run/user/1/bus"},
             {"an odd folder", "", "/run/a b;c", "unix:path=/run/a%20b%3Bc/bus"},
             {"would have to be started", "autolaunch:", "/run/user/1", ""},
             {"none", "", "", ""},
         }) {
        setenv("DBUS_SESSION_BUS_ADDRESS", given, 1);
        setenv("XDG_RUNTIME_DIR", runtime, 1);
        EXPECT_EQ(busAddress(Bus::Kind::session), expected) << name;
    }
    support::expectRows<std::string, std::optional<std::string>>(
        support::Rows<std::string, std::optional<std::string>>{
            {"unix:path=/run/a%20b/bus,guid=12", "/run/a b/bus"},
            {"unix:path=/a;unix:path=/b", std::nullopt},
            {"unix:abstract=/a", std::nullopt},
        },
        socketFile);
}

} // namespace fluvane
