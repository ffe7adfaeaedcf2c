// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/EventLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace fluvane {

using testing::ElementsAre;

TEST(Scheduler, TakesPostsFromAnyThreadInTheirOrder) {
    support::EventLoop loop;
    constexpr int each = 2000;
    std::vector<std::vector<int>> received(4);
    const auto main = std::this_thread::get_id();
    std::vector<std::thread> posters;
    for (std::size_t number = 0; number < received.size(); ++number) {
        posters.emplace_back([&, number] {
            for (int value = 0; value < each; ++value) {
                loop.scheduler.post([&, number, value] {
                    EXPECT_EQ(std::this_thread::get_id(), main);
                    received[number].push_back(value);
                });
            }
        });
    }
    EXPECT_TRUE(loop.runUntil([&] {
        return std::ranges::all_of(received, [](const auto& values) { return values.size() == each; });
    }));
    for (auto& poster : posters) {
        poster.join();
    }
    for (const auto& values : received) {
        EXPECT_TRUE(std::ranges::is_sorted(values));
    }
}

TEST(Scheduler, ALoopWithinTheLoopGoesOn) {
    support::EventLoop loop;
    std::vector<int> order;
    loop.scheduler.post([&] {
        QEventLoop dialog;
        loop.scheduler.after(0.02, [&] {
            order.push_back(2);
            dialog.quit();
        });
        dialog.exec();
        order.push_back(3);
    });
    loop.scheduler.after(0,
                         [&] { order.push_back(1); }); // of the same turn: mustn't wait for the dialog's end
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(Scheduler, DropsWhatIsLeftWhenItEnds) {
    const support::EventLoop loop;
    const auto held = std::make_shared<int>();
    auto scheduler = std::make_unique<LinuxScheduler>();
    const auto task = scheduler->after(60, [held] {});
    const auto due = scheduler->after(0, [held] {});
    scheduler->post([held] {});
    scheduler.reset();
    task->cancel();
    due->cancel();
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace fluvane
