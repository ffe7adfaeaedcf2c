// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

class ConnectionsTest : public testing::Test {
protected:
    ConnectionsTest() {
        server.size = 200'000'000;
        engine.manager->start();
    }
    int connections(DownloadID id) { return engine.manager->download(id)->connections(); }
    Engine engine;
    FakeServer server{*engine.transport, engine.scheduler};
};

TEST_F(ConnectionsTest, PrioritizedGrowsAloneAndTheOthersAreCutBack) {
    server.bytesPerSecondInAll = 20'000'000;
    server.size = 1'000'000'000;
    engine.add("http://a.example/f");
    engine.add("http://c.example/h");
    engine.scheduler.runFor(30);
    EXPECT_EQ(connections(1_id), 8);
    EXPECT_EQ(connections(2_id), 8);
    const auto* download = engine.manager->download(1_id);
    const auto left = static_cast<double>(server.size - download->liveBytes());
    EXPECT_NEAR(download->secondsLeft.value() * download->speed(), left, 5e6);
    for (const auto& transfer : engine.transport->live()) {
        if (transfer->request.group == 2) {
            transfer->fail("It comes back from that.");
        }
    }
    engine.add("http://b.example/g");
    engine.manager->prioritize(3_id, true);
    engine.scheduler.runFor(16);
    EXPECT_EQ(connections(1_id), 2);
    EXPECT_EQ(connections(2_id), 2);
    EXPECT_EQ(connections(3_id), 8);
}

TEST_F(ConnectionsTest, WhatHadStoppedGrowsOnWhenMoreMayBeHad) {
    const struct {
        const char* name;
        std::function<void()> change;
        double within; ///< Seconds.
    } rows[] = {
        {"no priority anymore",
         [&] {
             engine.manager->prioritize(2_id, true);
             engine.manager->prioritize(2_id, false);
         },
         0},
        {"a neighbour leaves", [&] { engine.manager->pause(2_id); }, 1},
        {"a higher cap",
         [&] {
             engine.config.connections = 16;
             engine.manager->apply(engine.config);
         },
         0},
        {"a faster line", [&] { server.bytesPerSecondInAll.reset(); }, 8},
    };
    server.size = 2'000'000'000;
    server.bytesPerSecondInAll = 1'000'000;
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        engine.scheduler.runFor(30);
        const auto isGrowing = [&] { return engine.manager->download(1_id)->growth->isGrowing(); };
        ASSERT_FALSE(isGrowing());
        row.change();
        EXPECT_TRUE(engine.scheduler.runUntilTrue(isGrowing, row.within));
    }
}

TEST_F(ConnectionsTest, OneThatHangsKeepsNobodyFromMeasuring) {
    engine.add("http://a.example/f");
    engine.scheduler.runFor(1);
    server.speedOf = [](const FakeTransfer& transfer) { // while it measures
        return transfer.request.group == 1 ? std::optional(0.0) : std::nullopt;
    };
    engine.add("http://b.example/g");
    engine.scheduler.runFor(12);
    EXPECT_EQ(connections(2_id), 8);
}

TEST_F(ConnectionsTest, AStaleEventIsDroppedEvenIfItsPieceHasANewConnection) {
    engine.add("http://a.example/f");
    engine.turns();
    const auto stale = engine.transport->transfers[1];
    engine.manager->pause(1_id);
    engine.manager->resume(1_id);
    stale->deliverLate({TransferEvent::Progress{5'000'000}});
    stale->deliverLate({TransferEvent::Failed{{"Late.", false}, 5'000'000}});
    EXPECT_EQ(engine.record(1_id).doneBytes(), 0);
    EXPECT_EQ(engine.state(1_id), "downloading");
}

} // namespace
} // namespace fluvane::support
