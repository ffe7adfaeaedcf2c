// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/SleepWatch.h"
#include "FluvaneServices/DesktopFixture.h"

#include <QDBusMessage>

namespace fluvane {

namespace {

constexpr const char* manager = "org.freedesktop.login1.Manager";
const QStringList ourLock{"sleep|Fluvane|Fluvane is saving its list|delay"};

class SleepTest : public DesktopTest {
protected:
    SleepTest() {
        startDaemon();
        startBus(system);
        login = start(MockService::login);
    }
    void prepare(bool sleep) {
        login->call("org.freedesktop.DBus.Mock", "EmitSignal",
                    {manager, "PrepareForSleep", "b", QVariantList{sleep}});
        catchUp(system);
    }
    bool locks(const QStringList& expected) {
        return runUntil([&] { return login->held() == expected; }, 3);
    }

    Bus system{Bus::Kind::system, scheduler, address};
    std::unique_ptr<MockService> login;
    SleepWatch::Done done;
    int sleeps = 0;
    int wakes = 0;
    SleepWatch watch{system,
                     [this](SleepWatch::Done finished) {
                         done = std::move(finished);
                         ++sleeps;
                     },
                     [this] { ++wakes; }};
};

} // namespace

TEST_F(SleepTest, HoldsSleepUpUntilWeAreDone) {
    EXPECT_TRUE(locks(ourLock));
    for (int round = 1; round <= 2; ++round) {
        prepare(true);
        prepare(true);
        EXPECT_EQ(sleeps, round);
        EXPECT_EQ(login->held(), ourLock) << "until done";
        done();
        EXPECT_TRUE(locks({}));
        prepare(false);
        EXPECT_EQ(wakes, round);
        EXPECT_TRUE(locks(ourLock));
    }
}

TEST_F(SleepTest, LateDoneLeavesTheNextLockAlone) {
    EXPECT_TRUE(locks(ourLock));
    prepare(true);
    prepare(false); // sleep didn't wait any longer
    EXPECT_TRUE(locks(ourLock));
    done();
    catchUp(system);
    EXPECT_EQ(login->held(), ourLock);
    EXPECT_EQ(wakes, 1);
}

TEST_F(SleepTest, NewLoginManagerGetsANewLock) {
    EXPECT_TRUE(locks(ourLock));
    login.reset();
    login = start(MockService::login);
    EXPECT_TRUE(locks(ourLock));
    prepare(true);
    EXPECT_EQ(sleeps, 1);
    login.reset();
    login = start(MockService::login);
    EXPECT_TRUE(locks(ourLock));
    EXPECT_EQ(wakes, 1) << "it may have woken unseen";
}

TEST_F(SleepTest, OthersCannotPretend) {
    EXPECT_TRUE(locks(ourLock));
    auto signal = QDBusMessage::createSignal("/org/freedesktop/login1", manager, "PrepareForSleep");
    signal << true;
    control->send(signal);
    prepare(false); // sent after it
    EXPECT_EQ(sleeps, 0);
}

TEST_F(SleepTest, RefusalIsToldOnce) {
    login.reset();
    login = start(MockService::login, R"({"refusing": true})");
    EXPECT_TRUE(runUntil([&] { return !errors.empty(); }));
    prepare(true);
    EXPECT_EQ(sleeps, 1);
    done();
    prepare(false);
    EXPECT_EQ(wakes, 1);
    catchUp(system);
    EXPECT_EQ(errors, std::vector<std::string>{"couldn't make sleep wait for the list: Permission denied"});
}

} // namespace fluvane
