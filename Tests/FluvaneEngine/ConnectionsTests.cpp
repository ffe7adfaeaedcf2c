// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::Contains;
using testing::StartsWith;

class ConnectionsTest : public testing::Test {
protected:
    explicit ConnectionsTest(Config config = {}) : engine(std::move(config)) {
        server.size = 200'000'000;
        engine.manager->start();
    }
    int connections(DownloadID id = 1_id) { return engine.manager->download(id)->connections(); }
    Engine engine;
    FakeServer server{*engine.transport, engine.scheduler};
};

TEST_F(ConnectionsTest, DoublesWhileThatIsFaster) {
    engine.config.connections = 16;
    engine.manager->apply(engine.config);
    engine.add("http://a.example/f");
    engine.scheduler.runFor(14);
    EXPECT_EQ(connections(), 16);
    EXPECT_THAT(engine.log.lines, Contains("downloads: download 1: 2 connections at 2 MB/s, trying 4"));
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(engine.files->contents("/downloads/f"), content(0, server.size));
}

TEST_F(ConnectionsTest, GoesBackWhenAStepCostsTheOthers) {
    server.bytesPerSecond = 10'000'000;
    server.bytesPerSecondInAll = 8'000'000;
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    engine.scheduler.runFor(30);
    EXPECT_THAT(engine.log.lines,
                Contains(testing::ContainsRegex("4 connections took speed from the other downloads "
                                                "\\([^()]+ against [^()]+ with 2\\), back to 2")));
    EXPECT_EQ(connections(1_id) + connections(2_id), 4);
}

TEST_F(ConnectionsTest, NeighboursThatComeAndGoNeitherStopGrowthNorSpareAStepItsJudgement) {
    for (const bool isFull : {false, true}) {
        Engine other;
        FakeServer busy(*other.transport, other.scheduler);
        busy.size = 2'000'000'000;
        busy.bytesPerSecond = isFull ? 2'000'000 : 1'000'000;
        busy.bytesPerSecondInAll = isFull ? std::optional(4'000'000.0) : std::nullopt;
        other.manager->start();
        other.add("http://a.example/big");
        for (int turn = 0; turn < 12; ++turn) {
            const auto neighbour = other.add("http://b.example/small");
            other.scheduler.runFor(2);
            other.manager->remove(neighbour);
        }
        EXPECT_NEAR(other.manager->download(1_id)->connections(), isFull ? 2 : 8, isFull ? 2 : 0);
    }
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
    Config config;
    config.connections = 2;
    engine.manager->apply(config);
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
    EXPECT_THAT(
        engine.log.lines,
        Contains(StartsWith("downloads: download 1: a connection takes over the second half of piece ")));
}

TEST_F(ConnectionsTest, CapsOfRuleAndServerHold) {
    engine.config.rules = {{.id = "r", .match = Rule::Site{"a.example"}, .folder = {}, .connections = 1}};
    engine.config.connections = 4;
    engine.config.connectionsPerServer = 4;
    engine.manager->apply(engine.config);
    engine.add("http://a.example/f");
    engine.add("http://bücher.example/g");
    engine.add("http://xn--bcher-kva.example/h");
    for (int second = 0; second < 25; ++second) {
        engine.scheduler.runFor(1);
        EXPECT_EQ(connections(1_id), 1);
        EXPECT_LE(connections(2_id) + connections(3_id), 4);
    }
}

TEST_F(ConnectionsTest, ChangedCapsApplyToWhatRuns) {
    server.size = 1'000'000'000;
    const auto allow = [&](int connections, std::vector<Rule> rules = {}) {
        engine.config.connections = connections;
        engine.config.rules = std::move(rules);
        engine.manager->apply(engine.config);
    };
    const Rule one{.id = "r", .match = Rule::Site{"a.example"}, .folder = {}, .connections = 1};
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
    allow(3, {one});
    EXPECT_EQ(connections(), 1);
    engine.manager->pause(1_id);
    engine.add("http://a.example/g");
    allow(3);
    allow(3, {one}); // before the probe is answered
    engine.scheduler.runFor(5);
    EXPECT_EQ(connections(2_id), 1);
}

TEST_F(ConnectionsTest, OnlyTheOneThatMeasuresGrowsAndNobodyHoldsTheOthersUp) {
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    engine.scheduler.runFor(1.5);
    // The first measures. Now it has nothing more to measure, though it never stopped growing.
    engine.config.rules = {{.id = "r", .match = Rule::Site{"a.example"}, .folder = {}, .connections = 1}};
    engine.manager->apply(engine.config);
    engine.scheduler.runFor(3.5);
    EXPECT_EQ(connections(2_id), 4);
    engine.add("http://c.example/h");
    engine.scheduler.runFor(2);
    EXPECT_EQ(connections(3_id), 2) << "it waits for its turn";
    engine.scheduler.runFor(15);
    EXPECT_EQ(connections(2_id), 8);
    EXPECT_EQ(connections(3_id), 8);
}

TEST_F(ConnectionsTest, WhileAConnectionIsBeingOpenedNothingIsMeasured) {
    engine.config.connections = 4;
    engine.manager->apply(engine.config);
    engine.transport->onStart = {}; // by hand
    engine.add("http://a.example/f");
    engine.turns();
    auto& transfers = engine.transport->transfers;
    transfers[0]->respondPart(server.size);
    transfers[1]->respondPart(server.size);
    transfers[0]->send(1000);
    engine.scheduler.runFor(2.9);
    transfers[1]->send(server.size);
    engine.turns();
    ASSERT_EQ(transfers.size(), 3U);
    engine.scheduler.runFor(0.2);
    transfers[0]->send(1000);
    transfers[2]->respondPart(server.size);
    transfers[0]->send(1000);
    EXPECT_EQ(connections(), 2) << "the three seconds begin anew";
    engine.scheduler.runFor(3.1);
    transfers[0]->send(1000);
    EXPECT_EQ(connections(), 4);
}

TEST_F(ConnectionsTest, ANeighbourThatLeavesLetsGrowOnWhatHadStopped) {
    server.size = 2'000'000'000;
    server.bytesPerSecond = 2'000'000;
    server.bytesPerSecondInAll = 6'000'000;
    engine.config.connections = 4;
    engine.manager->apply(engine.config);
    engine.add("http://a.example/f");
    engine.add("http://b.example/g");
    engine.scheduler.runFor(60);
    ASSERT_FALSE(engine.manager->download(1_id)->growth.isGrowing());
    engine.manager->pause(2_id);
    engine.scheduler.runFor(1);
    EXPECT_TRUE(engine.manager->download(1_id)->growth.isGrowing());
    engine.scheduler.runFor(60);
    ASSERT_FALSE(engine.manager->download(1_id)->growth.isGrowing());
    engine.manager->resume(2_id);
    engine.scheduler.runFor(1);
    EXPECT_FALSE(engine.manager->download(1_id)->growth.isGrowing()) << "one that comes brings no speed";
}

TEST_F(ConnectionsTest, AnOnlyConnectionIsTakenForNobody) {
    engine.config.connections = 2;
    engine.config.connectionsPerServer = 2;
    engine.manager->apply(engine.config);
    engine.add("http://a.example/f");
    engine.add("http://a.example/g");
    engine.scheduler.runFor(3);
    ASSERT_EQ(connections(1_id) + connections(2_id), 2);
    engine.add("http://a.example/h");
    engine.manager->prioritize(3_id, true);
    engine.scheduler.runFor(3);
    EXPECT_EQ(connections(1_id), 1);
    EXPECT_EQ(connections(2_id), 1);
    EXPECT_GE(connections(3_id), 1);
}

TEST_F(ConnectionsTest, ALoweredCapOfTheServerClosesConnections) {
    server.size = 1'000'000'000;
    engine.add("http://a.example/f");
    engine.add("http://a.example/g");
    ASSERT_TRUE(
        engine.scheduler.runUntilTrue([&] { return connections(1_id) + connections(2_id) >= 8; }, 60));
    engine.config.connections = 4;
    engine.config.connectionsPerServer = 5;
    engine.manager->apply(engine.config);
    EXPECT_LE(connections(1_id) + connections(2_id), 5);
    EXPECT_GE(std::min(connections(1_id), connections(2_id)), 1);
}

TEST_F(ConnectionsTest, SpeedTimeLeftAndAwakeFollowTheRun) {
    engine.add("http://a.example/f");
    engine.scheduler.runFor(10);
    const auto* download = engine.manager->download(1_id);
    EXPECT_GT(download->speed(), 2'000'000);
    ASSERT_TRUE(download->secondsLeft);
    EXPECT_NEAR(*download->secondsLeft * download->speed(),
                200e6 - static_cast<double>(download->liveBytes()), 5e6);
    EXPECT_TRUE(engine.power->awake);
    engine.manager->pause(1_id);
    EXPECT_EQ(download->speed(), 0);
    EXPECT_EQ(download->secondsLeft, std::nullopt);
    EXPECT_FALSE(engine.power->awake);
}

TEST_F(ConnectionsTest, UnreportedBytesAreKeptWhenAConnectionIsClosed) {
    engine.add("http://a.example/f");
    engine.turns();
    engine.transport->transfers[0]->sendQuietly(123'000);
    EXPECT_EQ(engine.manager->download(1_id)->liveBytes(), 123'000);
    engine.transport->transfers[0]->writesOnCancel = 456;
    engine.manager->pause(1_id);
    EXPECT_EQ(engine.record(1_id).doneBytes(), 123'456);
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
