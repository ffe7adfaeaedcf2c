// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::int64_t> numbers(const std::vector<const Download*>& downloads) {
    std::vector<std::int64_t> ids;
    for (const auto* download : downloads) {
        ids.push_back(number(download->id()));
    }
    return ids;
}

/// An engine in which `count` downloads were added and nothing answers.
class QueueTest : public testing::Test {
protected:
    QueueTest() { engine.manager->start(); }
    void addSome(int count) {
        for (int i = 1; i <= count; ++i) {
            engine.add("http://host" + std::to_string(i) + ".example/file.bin");
        }
        engine.turns();
    }
    /// One letter a download: q(ueued) s(tarting) d(ownloading) p(aused) f(ailed), or its wait's first
    /// letter.
    std::string states() {
        std::string text;
        for (const auto* download : engine.manager->downloads()) {
            text += stateName(download->record.state).front();
        }
        return text;
    }
    Engine engine;
};

TEST_F(QueueTest, AdmitsUpToTheLimitInTheOrderOfTheLine) {
    addSome(5);
    EXPECT_EQ(states(), "sssqq");
    EXPECT_THAT(numbers(engine.manager->queue()), ElementsAre(4, 5));
    engine.manager->pause(1_id);
    EXPECT_EQ(states(), "psssq");
    engine.manager->resume(1_id);
    EXPECT_THAT(numbers(engine.manager->queue()), ElementsAre(1, 5)) << "its number is its place";
    EXPECT_THAT(engine.log.lines, Contains("downloads: download 1 resumed"));
}

TEST_F(QueueTest, NextInLineGoesBeforeTheFirstEvenBelowZero) {
    addSome(6);
    engine.manager->downloadNext(6_id);
    EXPECT_THAT(numbers(engine.manager->queue()), ElementsAre(6, 4, 5));
    EXPECT_EQ(engine.record(6_id).queueOrder, 3);
    engine.manager->downloadNext(6_id);
    EXPECT_EQ(engine.record(6_id).queueOrder, 3) << "already first";
    for (int i = 0; i < 4; ++i) {
        engine.manager->downloadNext(5_id);
        engine.manager->downloadNext(4_id);
    }
    EXPECT_LT(engine.record(4_id).queueOrder, 0);
    engine.manager->pause(5_id);
    engine.manager->downloadNext(5_id);
    EXPECT_THAT(numbers(engine.manager->queue()), ElementsAre(5, 4, 6));
    engine.manager->downloadNext(1_id);
    EXPECT_EQ(engine.record(1_id).queueOrder, std::nullopt) << "it is running";
}

TEST_F(QueueTest, AnExtremePlaceFromAnEditedListIsNoCrash) {
    addSome(4);
    engine.turns();
    engine.store->saved[3].queueOrder = std::numeric_limits<std::int64_t>::min();
    engine.store->saved[2].id = DownloadID{std::numeric_limits<std::int64_t>::max() - 1};
    engine.store->saved[1].id = 1_id;
    engine.restart();
    EXPECT_GT(engine.add("http://more.example/f"), 4_id);
    engine.manager->remove(2_id);
    engine.manager->downloadNext(1_id);
    engine.manager->downloadNext(2_id);
    EXPECT_EQ(engine.manager->downloads().size(), 5U);
}

TEST_F(QueueTest, PrioritizedStartsPastTheLimitAndIsAlone) {
    engine.config.simultaneous = 1;
    engine.manager->apply(engine.config);
    addSome(3);
    EXPECT_EQ(states(), "sqq");
    engine.manager->prioritize(2_id, true);
    EXPECT_EQ(states(), "ssq");
    engine.manager->prioritize(3_id, true);
    EXPECT_EQ(states(), "sss");
    EXPECT_EQ(engine.record(2_id).prioritized, std::nullopt);
    engine.manager->prioritize(3_id, false);
    EXPECT_EQ(engine.record(3_id).prioritized, std::nullopt);
    engine.manager->pause(3_id);
    engine.manager->prioritize(3_id, true);
    EXPECT_EQ(states(), "sss") << "a paused one starts";
    EXPECT_THAT(engine.log.lines, Contains("downloads: download 3 isn't prioritized anymore"));
}

TEST_F(QueueTest, PauseAllTouchesNoServerAndResumeAllLeavesFailuresAlone) {
    addSome(6);
    engine.transport->last().respond(404);
    EXPECT_EQ(states(), "ssfsqq");
    engine.manager->pauseAll();
    engine.turns();
    EXPECT_EQ(states(), "ppfppp");
    EXPECT_EQ(engine.transport->transfers.size(), 4U) << "no queued download was started only to be stopped";
    engine.manager->resumeAll();
    EXPECT_EQ(states(), "ssfsqq");
}

TEST_F(QueueTest, CommandsForNobodyOrTheWrongStateChangeNothing) {
    addSome(4);
    const auto before = states();
    for (const DownloadID id : {0_id, DownloadID{-1}, 99_id}) {
        engine.manager->pause(id);
        engine.manager->resume(id);
        engine.manager->remove(id);
        engine.manager->downloadNext(id);
        engine.manager->prioritize(id, true);
        engine.manager->updateLink(id, link("http://other.example/"));
        engine.manager->setChecksum(id, std::nullopt);
    }
    engine.manager->resume(1_id);
    engine.manager->resume(4_id);
    engine.manager->prioritize(1_id, false);
    EXPECT_EQ(states(), before);
}

TEST_F(QueueTest, RemoveDeletesTheUnfinishedFileAndLateEventsFindNobody) {
    addSome(1);
    auto& probe = engine.transport->last();
    probe.respondPart(5'000'000);
    probe.send(1000);
    ASSERT_TRUE(engine.files->contents("/downloads/file.bin.fluvane"));
    engine.manager->remove(1_id);
    EXPECT_TRUE(probe.isOver());
    probe.deliverLate({TransferEvent::Progress{2000}});
    engine.scheduler.runFor(10);
    EXPECT_THAT(engine.files->paths(), IsEmpty());
    EXPECT_EQ(engine.files->openFiles(), 0);
    EXPECT_THAT(engine.store->saved, IsEmpty());
}

TEST_F(QueueTest, ALimitedNetworkHoldsWhatWasNotAddedOnIt) {
    addSome(2);
    engine.manager->setLimitedNetwork(LimitedNetwork::hotspot);
    engine.turns();
    EXPECT_EQ(states(), "ll");
    EXPECT_EQ(engine.store->saved[0].state, DownloadState(DownloadState::Queued{}))
        << "never outlives a restart";
    engine.add("http://new.example/a");
    EXPECT_EQ(states(), "lls");
    engine.manager->resume(2_id);
    EXPECT_EQ(states(), "lss");
    engine.manager->setLimitedNetwork(std::nullopt);
    EXPECT_EQ(states(), "sss");
    EXPECT_THAT(engine.log.lines, Contains("downloads: on a limited network: hotspot"));
    EXPECT_THAT(engine.log.lines, Contains("downloads: download 1 waiting on the limited network"));
    EXPECT_THAT(engine.log.lines, Contains("downloads: no longer on a limited network"));
    engine.manager->setLimitedNetwork(LimitedNetwork::lowDataMode);
    EXPECT_EQ(states(), "lll") << "leave was for the last limited network only";
    engine.config.waitOnHotspots = false;
    engine.manager->apply(engine.config);
    EXPECT_EQ(states(), "sss");
    engine.config.waitOnHotspots = true;
    engine.manager->apply(engine.config);
    EXPECT_EQ(states(), "lll");
}

TEST_F(QueueTest, OfflineWaitsAndOnlineCarriesOn) {
    addSome(5);
    engine.manager->pause(5_id);
    engine.manager->setOnline(false);
    EXPECT_EQ(states(), "oooop");
    EXPECT_THAT(engine.transport->live(), IsEmpty());
    engine.manager->setOnline(true);
    EXPECT_EQ(states(), "sssqp");
}

TEST_F(QueueTest, StartBringsBackWhatTheLastRunLeft) {
    struct {
        DownloadState before;
        const char* online;
        const char* offline;
    } const rows[] = {
        {DownloadState::Queued{}, "starting", "offline"},
        {DownloadState::Starting{}, "starting", "offline"},
        {DownloadState::Downloading{}, "starting", "offline"},
        {DownloadState::Verifying{}, "starting", "offline"},
        {DownloadState::Finishing{}, "starting", "offline"},
        {DownloadState::Wait::offline, "starting", "offline"},
        {DownloadState::Wait::retrying, "starting", "offline"},
        {DownloadState::Wait::limitedNetwork, "starting", "offline"},
        {DownloadState::Wait::linkExpired, "link-expired", "link-expired"},
        {DownloadState::Paused{}, "paused", "paused"},
        {DownloadState::Finished{}, "finished", "finished"},
        {DownloadState::Failed{"Why."}, "failed", "failed"},
    };
    for (const auto& row : rows) {
        for (const bool online : {true, false}) {
            Engine fresh;
            DownloadRecord record(7_id, link("http://a.example/f"), URL::folder("/downloads"), std::nullopt,
                                  Date());
            record.state = row.before;
            fresh.store->saved = {record};
            fresh.manager->setOnline(online);
            fresh.manager->start();
            EXPECT_EQ(fresh.state(7_id), online ? row.online : row.offline) << stateName(row.before);
            EXPECT_EQ(fresh.add("http://b.example/f"), 8_id);
        }
    }
}

TEST_F(QueueTest, AFullServerLendsAConnectionToANewDownloadAndHoldsTheRestBack) {
    engine.config.connections = 4;
    engine.config.connectionsPerServer = 4;
    engine.manager->apply(engine.config);
    FakeServer server(*engine.transport, engine.scheduler);
    server.size = 400'000'000;
    engine.add("http://one.example/a");
    ASSERT_TRUE(engine.scheduler.runUntilTrue([&] { return engine.transport->live().size() == 4; }, 60));
    engine.add("http://one.example/b");
    engine.scheduler.runFor(20);
    EXPECT_EQ(server.mostConnections, 4U);
    EXPECT_EQ(engine.state(2_id), "downloading");
    EXPECT_GT(engine.manager->download(2_id)->liveBytes(), 0);
}

TEST_F(QueueTest, SettingsApplyAtOnce) {
    addSome(5);
    engine.config.simultaneous = 5;
    engine.config.speedLimit = 250'000;
    engine.config.keepAwake = false;
    EXPECT_TRUE(engine.power->awake);
    engine.manager->apply(engine.config);
    EXPECT_EQ(states(), "sssss");
    EXPECT_EQ(engine.transport->speedLimit, 250'000);
    EXPECT_FALSE(engine.power->awake);
    engine.config.speedLimit.reset();
    engine.manager->apply(engine.config);
    EXPECT_EQ(engine.transport->speedLimit, std::nullopt);
    EXPECT_THAT(engine.log.lines, Contains("downloads: speed limit 250000 bytes/s"));
    EXPECT_THAT(engine.log.lines, Contains("downloads: no speed limit"));
}

TEST(SavedSettings, ASavedLimitHoldsFromTheFirstByte) {
    Config config;
    config.speedLimit = 1'000'000;
    Engine engine(config);
    engine.manager->start();
    EXPECT_EQ(engine.transport->speedLimit, 1'000'000);
}

class Saving : public testing::Test {
protected:
    Saving() { engine.manager->start(); }
    /// Fetches a file of the size for a time.
    void fetch(std::int64_t size, double seconds) {
        server.size = size;
        engine.add("http://a.example/f");
        engine.scheduler.runFor(seconds);
    }
    [[nodiscard]] std::int64_t live() const { return engine.manager->download(1_id)->liveBytes(); }
    [[nodiscard]] std::int64_t saved() const { return engine.store->saved[0].doneBytes(); }
    Engine engine;
    FakeServer server{*engine.transport, engine.scheduler};
};

TEST(Saved, ManyChangesOfOneTurnAreOneWriteAndTheToldIsOnDisk) {
    Engine engine;
    engine.manager->start();
    engine.turns();
    const auto before = engine.store->writes;
    for (int i = 0; i < 1000; ++i) {
        engine.add("http://a.example/" + std::to_string(i));
    }
    std::size_t savedWhenTold = 0;
    engine.manager->whenSaved([&](auto) { savedWhenTold = engine.store->saved.size(); });
    EXPECT_EQ(savedWhenTold, 0U);
    engine.turns();
    EXPECT_EQ(savedWhenTold, 1000U);
    EXPECT_LE(engine.store->writes - before, 3);
}

TEST_F(Saving, NeverClaimsBytesThatAreNotSyncedNorWaitsForASyncToTellOfACommand) {
    fetch(100'000'000, 1.9);
    engine.store->syncDelay = 5;
    engine.scheduler.runFor(0.2); // a checkpoint is under way now
    bool told = false;
    engine.add("http://b.example/g");
    engine.manager->whenSaved([&](auto) { told = true; });
    engine.turns();
    EXPECT_TRUE(told);
    ASSERT_EQ(engine.store->saved.size(), 2U);
    EXPECT_EQ(saved(), 0) << "nothing has been synced yet";
    engine.scheduler.runFor(5.5);
    EXPECT_GT(saved(), 3'000'000) << "the checkpoint's claim isn't lost";
    EXPECT_LE(saved(), live());
}

TEST_F(Saving, WhatIsSavedIsAtMostTwoSecondsOldAndARestartCarriesOnFromIt) {
    fetch(60'000'000, 9.3);
    const auto claimed = saved();
    EXPECT_GE(claimed, live() - static_cast<std::int64_t>(2.5 * 8 * server.bytesPerSecond));
    engine.restart();
    EXPECT_EQ(engine.state(1_id), "downloading") << "without a probe";
    const auto sentBefore = server.sent;
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(server.sent - sentBefore, server.size - claimed);
    EXPECT_EQ(engine.files->contents("/downloads/f"), content(0, server.size));
}

TEST_F(Saving, StopKeepsTheRunningStateAndEveryByte) {
    fetch(50'000'000, 5.1);
    const auto received = live();
    engine.manager->stop();
    EXPECT_EQ(engine.store->saved[0].state, DownloadState(DownloadState::Downloading{}));
    EXPECT_EQ(saved(), received);
    EXPECT_THAT(engine.transport->live(), IsEmpty());
    EXPECT_FALSE(engine.power->awake);
}

TEST_F(Saving, BeforeASleepEverythingWrittenIsSavedAndAfterItConnectionsAreNew) {
    fetch(60'000'000, 9.3);
    engine.transport->live().front()->sendQuietly(1000);
    const auto received = live();
    bool told = false;
    engine.manager->saveEverything([&](const auto& error) { told = !error; });
    engine.turns();
    ASSERT_TRUE(told);
    EXPECT_GE(saved(), received);
    engine.add("http://b.example/new");
    engine.turns();
    const auto before = engine.transport->live();
    engine.manager->reconnect();
    for (const auto& transfer : before) {
        EXPECT_TRUE(transfer->isOver());
    }
    EXPECT_EQ(engine.transport->live().size(), before.size());
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_EQ(engine.files->contents("/downloads/f"), content(0, server.size));
}

TEST_F(Saving, AfterASleepRetriesDoNotWaitAndWhatCannotCarryOnIsLeftAlone) {
    server.sendsParts = false;
    fetch(60'000'000, 3);
    const auto only = engine.transport->live().front();
    engine.manager->reconnect();
    EXPECT_FALSE(only->isOver());
    only->fail("The connection broke.");
    engine.turns();
    ASSERT_EQ(engine.state(1_id), "retrying");
    engine.manager->reconnect();
    EXPECT_EQ(engine.state(1_id), "starting");
}

TEST_F(Saving, WhatCouldNotBeSyncedIsNeverClaimed) {
    fetch(60'000'000, 5);
    const auto good = saved();
    engine.files->failSync = "Input/output error";
    engine.scheduler.runFor(4);
    engine.manager->pause(1_id);
    engine.scheduler.runFor(4);
    engine.files->failSync.reset(); // as a disk tells of lost bytes only once
    engine.scheduler.runFor(4);
    EXPECT_EQ(engine.store->saved[0].state, DownloadState(DownloadState::Paused{}));
    EXPECT_EQ(saved(), good);
}

TEST_F(Saving, AListThatCannotBeWrittenIsToldAndTriedAgain) {
    engine.store->error = "No space left on device";
    engine.add("http://a.example/f");
    std::optional<std::string> told;
    engine.manager->whenSaved([&](const auto& error) { told = error; });
    engine.turns();
    EXPECT_EQ(told, "No space left on device");
    EXPECT_THAT(engine.store->saved, IsEmpty());
    const auto tries = engine.store->saves;
    engine.store->error.reset();
    engine.scheduler.runFor(2.1);
    EXPECT_THAT(engine.store->saved, testing::SizeIs(1));
    EXPECT_LE(engine.store->saves - tries, 4) << "not again and again";
    engine.store->error = "Read-only file system";
    engine.add("http://a.example/g");
    engine.turns();
    engine.manager->whenSaved([&](const auto& error) { told = error; });
    engine.manager->stop();
    EXPECT_EQ(told, "Read-only file system") << "the end is no success either";
}

TEST(Saved, SenselessPiecesFromDiskStartAfresh) {
    const std::vector<std::vector<Piece>> rows = {
        {{0, 100, 200}},
        {{0, 10, 10}},
        {{0, 500, 0}, {0, 1000, 0}},
        {{-5, 100, 0}},
        {{50, 10, 0}},
        {{0, 2000, 0}},
        {{std::numeric_limits<std::int64_t>::max(), std::nullopt, 5}},
        {{0, std::nullopt, std::numeric_limits<std::int64_t>::max()},
         {0, std::nullopt, std::numeric_limits<std::int64_t>::max()}},
    };
    for (const auto& pieces : rows) {
        Engine engine;
        DownloadRecord record(1_id, link("http://a.example/f"), URL::folder("/downloads"), std::nullopt,
                              Date());
        record.size = 1000;
        record.resumable = true;
        record.pieces = pieces;
        record.partial = URL::file("/downloads/f.fluvane");
        engine.files->put("/downloads/f.fluvane", std::string(1000, 'x'));
        engine.store->saved = {record};
        engine.manager->start();
        EXPECT_EQ(engine.state(1_id), "starting");
    }
}

} // namespace
} // namespace fluvane::support
