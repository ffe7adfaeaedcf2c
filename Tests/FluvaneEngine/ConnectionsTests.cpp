// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

class ConnectionsTest : public testing::Test {
protected:
    ConnectionsTest() {
        server.size = 200'000'000;
        engine.manager->start();
    }
    void allow(int connections, int perServer = 16, std::vector<Rule> rules = {}) {
        engine.config.connections = connections;
        engine.config.connectionsPerServer = perServer;
        engine.config.rules = std::move(rules);
        engine.manager->apply(engine.config);
    }
    int connections(DownloadID id = 1_id) { return engine.manager->download(id)->connections(); }
    const Rule one{.id = "r", .match = Rule::Site{"a.example"}, .folder = {}, .connections = 1};
    Engine engine;
    FakeServer server{*engine.transport, engine.scheduler};
};

TEST_F(ConnectionsTest, DoublesWhileThatIsFaster) {
    allow(16);
    engine.add("http://a.example/f");
    engine.scheduler.runFor(14);
    const auto* download = engine.manager->download(1_id);
    EXPECT_EQ(connections(), 16);
    EXPECT_GT(download->speed(), 8'000'000);
    const auto left = static_cast<double>(server.size - download->liveBytes());
    EXPECT_NEAR(download->secondsLeft.value() * download->speed(), left, 5e6);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(engine.files->contents("/downloads/f"), content(0, server.size));
}

TEST_F(ConnectionsTest, PrioritizedGrowsAloneAndTheOthersAreCutBack) {
    server.bytesPerSecondInAll = 20'000'000;
    server.bytesPerSecond = 1'000'000;
    engine.add("http://a.example/f");
    engine.scheduler.runFor(12);
    EXPECT_EQ(connections(1_id), 8);
    engine.add("http://b.example/g");
    engine.manager->prioritize(2_id, true);
    engine.scheduler.runFor(2);
    EXPECT_EQ(connections(1_id), 2);
    engine.scheduler.runFor(14);
    EXPECT_EQ(connections(1_id), 2);
    EXPECT_EQ(connections(2_id), 8);
    engine.manager->prioritize(2_id, false);
    engine.scheduler.runFor(8);
    EXPECT_GT(connections(1_id), 2) << "it may grow again";
}

TEST_F(ConnectionsTest, AFreeConnectionTakesHalfOfTheBiggestPieceLeft) {
    allow(2);
    engine.add("http://a.example/f");
    engine.turns();
    engine.transport->onStart = {}; // from here on by hand
    const auto half = *engine.record(1_id).pieces[0].end;
    auto first = engine.transport->transfers[0];
    auto second = engine.transport->transfers[1];
    first->send(half);
    ASSERT_TRUE(first->isOver());
    const auto& pieces = engine.record(1_id).pieces;
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(second->end(), pieces[1].end);
    EXPECT_EQ(pieces[2].end, server.size);
    EXPECT_EQ(engine.transport->last().request.from, pieces[2].start);
}

TEST_F(ConnectionsTest, ChangedCapsApplyToWhatRuns) {
    server.size = 1'000'000'000;
    allow(4);
    engine.add("http://a.example/f");
    engine.scheduler.runFor(15);
    ASSERT_EQ(connections(), 4);
    allow(8);
    engine.scheduler.runFor(10);
    EXPECT_EQ(connections(), 8) << "it had stopped at the old cap";
    allow(3);
    EXPECT_EQ(connections(), 3);
    const auto live = engine.manager->download(1_id)->liveBytes();
    engine.scheduler.runFor(1);
    EXPECT_GT(engine.manager->download(1_id)->liveBytes(), live) << "trimming loses nothing";
    engine.add("http://b.example/f");
    engine.scheduler.runFor(10);
    allow(3, 4, {one});
    EXPECT_EQ(connections(), 1);
    ASSERT_EQ(connections(2_id), 3);
    engine.manager->updateLink(2_id, link("http://a.example/g"));
    EXPECT_EQ(connections(2_id), 1) << "it is of another site now";
    engine.manager->updateLink(2_id, link("http://b.example/h"));
    allow(4, 4);
    engine.scheduler.runFor(20);
    ASSERT_EQ(connections(1_id) + connections(2_id), 8);
    engine.manager->updateLink(2_id, link("http://a.example/h"));
    EXPECT_EQ(connections(1_id) + connections(2_id), 4) << "that is full";
}

TEST(Connections, WhileTheLinkIsAskedWhereElseItLeadsTheCapHolds) {
    ProbingEngine engine;
    auto& probe = *engine.transport->transfers[0];
    probe.redirectedTo = link("http://mirror.example/f");
    probe.respondPart(100'000'000);
    engine.transport->last().respond(403);
    ASSERT_EQ(engine.transport->last().request.url.site(), "a.example");
    engine.config.connections = 1;
    engine.manager->apply(engine.config);
    EXPECT_EQ(engine.transport->live().size(), 1U);
    probe.fail("Broken.");
    engine.scheduler.runFor(2);
    EXPECT_EQ(engine.transport->last().request.url.site(), "a.example") << "now it is its turn";
}

TEST_F(ConnectionsTest, OnlyTheOneThatMeasuresGrowsAndNobodyHoldsTheOthersUp) {
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    engine.scheduler.runFor(1.5);
    // The first measures. Now it has nothing more to measure, though it never stopped growing.
    allow(8, 16, {one});
    engine.scheduler.runFor(3.5);
    EXPECT_EQ(connections(2_id), 4);
    engine.add("http://c.example/h");
    engine.scheduler.runFor(2);
    EXPECT_EQ(connections(3_id), 2) << "it waits for its turn";
    engine.scheduler.runFor(15);
    EXPECT_EQ(connections(2_id), 8);
    EXPECT_EQ(connections(3_id), 8);
    bool hangs = false;
    server.speedOf = [&](const FakeTransfer& transfer) {
        const bool isIt = hangs && transfer.request.url.host() == "d.example";
        return isIt ? std::optional(0.0) : std::nullopt;
    };
    engine.config.simultaneous = 5;
    engine.manager->apply(engine.config);
    engine.add("http://d.example/i");
    engine.scheduler.runFor(1);
    hangs = true; // while it measures
    engine.add("http://e.example/j");
    engine.scheduler.runFor(12);
    EXPECT_THAT(engine.log.lines,
                testing::Contains("downloads: download 5: 2 connections at 2 MB/s, trying 4"));
}

TEST_F(ConnectionsTest, ANeighbourThatLeavesLetsGrowOnWhatHadStopped) {
    server.size = 2'000'000'000;
    server.bytesPerSecond = 2'000'000;
    server.bytesPerSecondInAll = 6'000'000;
    allow(4);
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    engine.scheduler.runFor(60);
    ASSERT_FALSE(engine.manager->download(1_id)->growth.isGrowing());
    engine.manager->pause(2_id);
    engine.scheduler.runFor(1);
    EXPECT_TRUE(engine.manager->download(1_id)->growth.isGrowing());
}

TEST_F(ConnectionsTest, TheConnectionsOfAServerAreSharedAndAnOnlyOneIsTakenForThePrioritizedAlone) {
    server.size = 1'000'000'000;
    engine.add("http://a.example/f");
    engine.scheduler.runFor(15);
    ASSERT_EQ(connections(), 8);
    allow(4, 4);
    EXPECT_EQ(connections(), 4);
    engine.add("http://a.example/g");
    engine.scheduler.runFor(20);
    EXPECT_EQ(connections(1_id) + connections(2_id), 4);
    EXPECT_GT(engine.manager->download(2_id)->liveBytes(), 0) << "it was lent one";
    allow(2, 2);
    EXPECT_EQ(connections(1_id), 1) << "a lowered cap closes some";
    engine.add("http://a.example/h");
    engine.manager->prioritize(3_id, true);
    engine.scheduler.runFor(3);
    EXPECT_EQ(connections(1_id), 1);
    EXPECT_EQ(engine.state(2_id), "queued");
    EXPECT_EQ(connections(3_id), 1);
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
