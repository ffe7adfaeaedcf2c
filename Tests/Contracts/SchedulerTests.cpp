// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every Scheduler promises, on the one of simulated time and on the event loop's alike.

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Support/ManualScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <limits>

namespace fluvane {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Simulated {
    support::ManualScheduler scheduler;
    bool runUntil(const std::function<bool()>& condition) { return scheduler.runUntilTrue(condition); }
};

/// An application without windows, whose events run while a test waits for something.
struct EventLoop {
    int argumentCount = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};
    LinuxScheduler scheduler;

    /// False if the condition didn't hold in time.
    static bool runUntil(const std::function<bool()>& condition) {
        QTimer deadline; // its event ends the wait for one
        deadline.setSingleShot(true);
        deadline.start(20'000);
        while (!condition() && deadline.isActive()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        }
        return condition();
    }
};

} // namespace

template <class System>
class SchedulerContract : public testing::Test {
protected:
    std::shared_ptr<Cancellable> after(double seconds, int number) {
        return system.scheduler.after(seconds, [this, number] { order.push_back(number); });
    }
    bool runUntilSize(std::size_t size) {
        return system.runUntil([&] { return order.size() == size; });
    }

    System system;
    std::vector<int> order;
};

using Schedulers = testing::Types<Simulated, EventLoop>;
TYPED_TEST_SUITE(SchedulerContract, Schedulers);

TYPED_TEST(SchedulerContract, RunsInOrderAndNeverInsideTheCall) {
    this->after(0, 1); // and nobody holds it
    this->after(-1, 2);
    this->after(std::numeric_limits<double>::quiet_NaN(), 3);
    this->system.scheduler.after(0, [this] {
        this->order.push_back(4);
        this->after(0, 6); // a turn of its own
    });
    this->after(0, 5);
    EXPECT_THAT(this->order, IsEmpty());
    EXPECT_TRUE(this->runUntilSize(6));
    this->after(0, 7);
    EXPECT_TRUE(this->runUntilSize(7));
    EXPECT_THAT(this->order, ElementsAre(1, 2, 3, 4, 5, 6, 7)) << "each once";
}

TYPED_TEST(SchedulerContract, DelaysAreNeverCutShort) {
    constexpr double endless = std::numeric_limits<double>::infinity();
    std::vector<double> early;
    const double start = this->system.scheduler.now();
    for (const double delay : {endless, 1e12, 0.05, 0.0301, 0.001, 1e-9}) {
        this->system.scheduler.after(delay, [&, delay] {
            early.push_back(delay - (this->system.scheduler.now() - start));
            this->order.push_back(static_cast<int>(delay * 1000));
        });
    }
    EXPECT_TRUE(this->runUntilSize(4));
    EXPECT_THAT(early, testing::Each(testing::Le(1e-9)));
    EXPECT_EQ(this->order.back(), 50);
}

TYPED_TEST(SchedulerContract, CancelledWorkIsLetGoAndNeverRuns) {
    for (const double delay : {0.0, 0.001, 60.0}) {
        const auto held = std::make_shared<int>(1);
        const auto task = this->system.scheduler.after(delay, [this, held] { this->order.push_back(*held); });
        task->cancel();
        EXPECT_EQ(held.use_count(), 1);
        task->cancel();
    }
    for (const double delay : {0.0, 0.01}) {
        std::shared_ptr<Cancellable> task;
        task = this->system.scheduler.after(delay, [&, held = std::make_shared<int>(5)] {
            task->cancel();
            this->order.push_back(*held); // still there
        });
        EXPECT_TRUE(this->runUntilSize(delay > 0 ? 2 : 1));
        task->cancel();
    }
    EXPECT_THAT(this->order, ElementsAre(5, 5));
}

TEST(EventLoop, ALoopWithinTheLoopGoesOn) {
    EventLoop system;
    std::vector<int> order;
    system.scheduler.post([&] {
        QEventLoop dialog;
        system.scheduler.after(0.02, [&] {
            order.push_back(2);
            dialog.quit();
        });
        dialog.exec();
        order.push_back(3);
    });
    system.scheduler.after(
        0, [&] { order.push_back(1); }); // of the same turn: mustn't wait for the dialog's end
    EXPECT_TRUE(system.runUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

} // namespace fluvane
