// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/LinuxScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace fluvane {

using testing::ElementsAre;

namespace {

class SchedulerTest : public testing::Test {
protected:
    /// Runs the loop until the condition holds; false if it doesn't in time.
    static bool runUntil(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        }
        return condition();
    }
    /// Everything that is due has run.
    void runPending() {
        bool ran = false;
        scheduler->post([&] { ran = true; });
        runUntil([&] { return ran; });
    }
    auto noting(int number) {
        return [this, number] { order.push_back(number); };
    }

    int argumentCount = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};
    std::optional<LinuxScheduler> scheduler{std::in_place};
    std::vector<int> order;
};

} // namespace

TEST_F(SchedulerTest, PostsAndDelaysOfNothingRunInOneOrder) {
    scheduler->post(noting(1));
    scheduler->after(0, noting(2));
    scheduler->post([this] {
        order.push_back(3);
        scheduler->after(-1, noting(5)); // a turn of its own
        EXPECT_THAT(order, ElementsAre(1, 2, 3));
    });
    scheduler->post(noting(4));
    EXPECT_THAT(order, ElementsAre());
    EXPECT_TRUE(runUntil([&] { return order.size() == 5; }));
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(SchedulerTest, TakesPostsFromAnyThreadInTheirOrder) {
    constexpr int each = 2000;
    std::vector<std::vector<int>> received(4);
    const auto main = std::this_thread::get_id();
    std::vector<std::thread> posters;
    for (std::size_t number = 0; number < received.size(); ++number) {
        posters.emplace_back([&, number] {
            for (int value = 0; value < each; ++value) {
                scheduler->post([&, number, value] {
                    EXPECT_EQ(std::this_thread::get_id(), main);
                    received[number].push_back(value);
                });
            }
        });
    }
    EXPECT_TRUE(runUntil([&] {
        return std::ranges::all_of(received, [](const auto& values) { return values.size() == each; });
    }));
    for (auto& poster : posters) {
        poster.join();
    }
    for (const auto& values : received) {
        EXPECT_TRUE(std::ranges::is_sorted(values));
    }
}

TEST_F(SchedulerTest, ALoopWithinTheLoopGoesOn) {
    scheduler->post([this] {
        QEventLoop dialog;
        scheduler->after(0.02, [&] {
            order.push_back(2);
            dialog.quit();
        });
        dialog.exec();
        order.push_back(3);
    });
    scheduler->post(noting(1)); // of the same turn: mustn't wait for the dialog's end
    EXPECT_TRUE(runUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST_F(SchedulerTest, DropsWhatIsLeftWhenItEnds) {
    const auto held = std::make_shared<int>();
    const auto task = scheduler->after(60, [held] {});
    const auto due = scheduler->after(0, [held] {});
    scheduler->post([held] {});
    scheduler.reset();
    task->cancel();
    due->cancel();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(SchedulerTest, WorkThatThrowsEndsTheProgram) {
    EXPECT_DEATH(
        {
            scheduler->post([] { throw std::runtime_error("unexpected"); });
            runPending();
        },
        "unexpected");
}

} // namespace fluvane
