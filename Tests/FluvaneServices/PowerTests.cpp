// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/LinuxPower.h"
#include "FluvaneServices/DesktopFixture.h"

#include <gmock/gmock.h>

namespace fluvane {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* toGnome = "org.example.Fluvane|0|Fluvane is downloading|4";
constexpr const char* toKde = "Fluvane|Fluvane is downloading";
constexpr const char* toLogin = "idle|Fluvane|Fluvane is downloading|block";
/// Everything is right again within a second, on a machine that isn't busy building.
constexpr double soon = 3.0;

class PowerTest : public DesktopTest {
protected:
    PowerTest() {
        startDaemon();
        startBus(session);
        startBus(system);
    }
    static bool holds(MockService& service, const QStringList& what, double seconds = soon) {
        return runUntil([&] { return service.held() == what; }, seconds);
    }

    Bus session{Bus::Kind::session, scheduler, address};
    Bus system{Bus::Kind::system, scheduler, address};
    LinuxPower power{session, system};
};

} // namespace

TEST_F(PowerTest, AsksTheMostPreferredThatIsThere) {
    struct Row {
        const char* name;
        std::vector<MockService::Kind> there;
        const char* asked; ///< Of the first.
    };
    const std::vector<Row> rows{
        {"a full desktop", {MockService::gnome, MockService::kde, MockService::login}, toGnome},
        {"no session manager", {MockService::kde, MockService::login}, toKde},
        {"no desktop", {MockService::login}, toLogin},
    };
    for (const auto& [name, there, asked] : rows) {
        SCOPED_TRACE(name);
        std::vector<std::unique_ptr<MockService>> services;
        for (const auto& kind : there) {
            services.push_back(start(kind));
        }
        power.keepAwake(true);
        power.keepAwake(true);
        EXPECT_TRUE(holds(*services.front(), {asked}));
        for (std::size_t i = 1; i < services.size(); ++i) {
            EXPECT_TRUE(holds(*services[i], {})) << i;
        }
        power.keepAwake(false);
        power.keepAwake(false);
        EXPECT_TRUE(holds(*services.front(), {}));
    }
    EXPECT_THAT(errors, ElementsAre());
}

TEST_F(PowerTest, AsksAnewWhenServicesComeAndGo) {
    power.keepAwake(true);
    const auto login = start(MockService::login);
    EXPECT_TRUE(holds(*login, {toLogin}));
    for (int round = 0; round < 2; ++round) {
        const auto gnome = start(MockService::gnome);
        EXPECT_TRUE(holds(*gnome, {toGnome}));
        EXPECT_TRUE(holds(*login, {}));
        if (round == 1) {
            power.keepAwake(false);
            EXPECT_TRUE(holds(*gnome, {}));
        }
    }
    catchUp(system);
    EXPECT_TRUE(holds(*login, {}));
    power.keepAwake(true);
    EXPECT_TRUE(holds(*login, {toLogin}));
}

TEST_F(PowerTest, ReleasesWhatIsGrantedTooLate) {
    const auto gnome = start(MockService::gnome);
    gnome->hang();
    catchUp(session);
    catchUp(system);
    power.keepAwake(true);
    power.keepAwake(false);
    gnome->goOn();
    EXPECT_TRUE(runUntil([&] { return gnome->call("org.freedesktop.DBus.Mock", "Granted").toInt() == 1; }));
    EXPECT_TRUE(holds(*gnome, {}));
}

TEST_F(PowerTest, WaitsForNoneThatHangs) {
    const auto gnome = start(MockService::gnome);
    const auto login = start(MockService::login);
    gnome->hang();
    catchUp(session);
    catchUp(system);
    power.keepAwake(true);
    EXPECT_TRUE(holds(*login, {toLogin}));
    power.keepAwake(false);
    EXPECT_TRUE(holds(*login, {}));
    power.keepAwake(true);
    EXPECT_TRUE(holds(*login, {toLogin}));
    gnome->goOn();
    EXPECT_TRUE(holds(*gnome, {toGnome}));
    EXPECT_TRUE(holds(*login, {}));
    EXPECT_EQ(gnome->call("org.freedesktop.DBus.Mock", "Granted").toInt(), 1);
}

TEST_F(PowerTest, TellsOfARefusalOnce) {
    const auto refusal = HasSubstr("org.freedesktop.login1: Permission denied");
    auto login = start(MockService::login, R"({"refusing": true})");
    for (int round = 0; round < 3; ++round) {
        power.keepAwake(true);
        EXPECT_TRUE(runUntil([&] { return !errors.empty(); }));
        catchUp(system);
        power.keepAwake(false);
    }
    EXPECT_THAT(errors, ElementsAre(refusal));

    power.keepAwake(true);
    const auto kde = start(MockService::kde);
    EXPECT_TRUE(holds(*kde, {toKde}));
    login.reset();
    login = start(MockService::login, R"({"refusing": true})");
    catchUp(system);
    EXPECT_TRUE(holds(*kde, {toKde}));
    EXPECT_THAT(errors, ElementsAre(refusal)) << "nobody was asked who needn't be";
}

TEST_F(PowerTest, LetsGoWhenItsProcessDies) {
    for (const auto& kind : {MockService::gnome, MockService::login}) {
        const auto service = start(kind);
        ChildProcess holder(FLUVANE_HOLDER, {QString::fromStdString(address)});
        EXPECT_TRUE(runUntil([&] { return service->held().filter("downloading").size() == 1; })) << kind.name;
        holder.process().kill();
        EXPECT_TRUE(holds(*service, {})) << kind.name;
    }
}

TEST_F(PowerTest, AsksAnewOnANewBus) {
    power.keepAwake(true);
    auto gnome = start(MockService::gnome);
    EXPECT_TRUE(holds(*gnome, {toGnome}));
    endDaemon();
    EXPECT_TRUE(runUntil([&] { return !session.connection(); }, soon));
    gnome.reset();
    startDaemon();
    gnome = start(MockService::gnome);
    EXPECT_TRUE(holds(*gnome, {toGnome}));
}

} // namespace fluvane
