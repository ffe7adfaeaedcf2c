// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using namespace std::string_view_literals;
using testing::IsEmpty;

class ListSaverTest : public testing::Test {
protected:
    ListSaverTest() { engine.manager->start(); }
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

TEST_F(ListSaverTest, BeforeASleepEverythingWrittenIsSavedAndAfterItConnectionsAreNew) {
    engine.store->syncDelay = 1.5; // a checkpoint is under way, which isn't enough
    fetch(100'000'000, 9.3);
    engine.transport->live().front()->sendQuietly(1000);
    const auto received = live();
    std::int64_t savedWhenTold = 0;
    engine.manager->saveEverything([&](const auto& error) { savedWhenTold = error ? 0 : saved(); });
    engine.scheduler.runFor(3.5);
    EXPECT_GE(savedWhenTold, received);
    engine.add("http://b.example/new");
    engine.turns();
    const auto before = engine.transport->live();
    engine.manager->reconnect();
    for (const auto& transfer : before) {
        EXPECT_TRUE(transfer->isOver());
    }
    EXPECT_EQ(engine.transport->live().size(), before.size());
}

TEST_F(ListSaverTest, AfterASleepRetriesDoNotWaitAndWhatCannotCarryOnIsLeftAlone) {
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

TEST_F(ListSaverTest, ADiskThatHangsHoldsUpNeitherAnotherNorTheEnd) {
    auto& manager = *engine.manager;
    const auto claimed = [&](std::size_t index) { return engine.store->saved[index].doneBytes(); };
    engine.store->syncDelay = 1.5; // most of the time a checkpoint is under way
    fetch(200'000'000, 3);
    manager.add(link("http://b.example/g"), URL::folder("/other"), std::nullopt, std::nullopt, false);
    engine.scheduler.runFor(3);
    engine.store->hung = {1};
    engine.scheduler.runFor(4.1);
    EXPECT_GT(claimed(1), manager.download(2_id)->liveBytes() / 2) << "it is claimed on";
    const auto written = manager.download(2_id)->liveBytes();
    std::string told;
    manager.saveEverything([&](const auto&) { told = "everything"; });
    engine.scheduler.runFor(5);
    EXPECT_EQ(told, "everything");
    EXPECT_GE(claimed(1), written);
    manager.whenSaved([&](const auto& error) { told = error.value_or("end"); });
    EXPECT_FALSE(manager.stop());
    EXPECT_LE(engine.store->patience, 10);
    EXPECT_EQ(told, "end");
    EXPECT_EQ(claimed(1), manager.download(2_id)->liveBytes());
    EXPECT_THAT(engine.log.lines, testing::Contains(testing::HasSubstr("a disk didn't answer")));
}

TEST_F(ListSaverTest, AfterAFailedSyncItCarriesOnFromTheLastGoodOne) {
    engine.store->syncDelay = 2; // results for the file as it was open before come after it was opened again
    for (const auto& [state, id] :
         {std::pair("retrying", 1_id), std::pair("failed", 2_id), std::pair("paused", 3_id)}) {
        SCOPED_TRACE(state);
        fetch(100'000'000, 5);
        const auto good = engine.store->saved.back().doneBytes();
        engine.files->failSync = "No space left on device";
        if (state == "paused"sv) {
            engine.manager->pause(id);
        }
        ASSERT_TRUE(engine.runUntil(id, state));
        engine.scheduler.runFor(state == "retrying"sv ? 0.5 : 5);
        EXPECT_EQ(engine.store->saved.back().doneBytes(), good);
        engine.files->failSync.reset();
        engine.log.lines.clear();
        if (state != "retrying"sv) {
            engine.manager->resume(id);
        }
        ASSERT_TRUE(engine.runUntil(id, "finished"));
        const auto from = " picks up at " + std::to_string(good) + " of 100000000 bytes";
        EXPECT_THAT(engine.log.lines, testing::Contains(testing::EndsWith(from)));
        EXPECT_THAT(engine.log.lines, testing::Not(testing::Contains(testing::HasSubstr("tries again"))));
        EXPECT_EQ(engine.files->contents(engine.record(id).file->path()), content(0, server.size));
    }
}

TEST(ListSaver, AnEndLearnedDuringACheckpointIsNotForgotten) {
    ProbingEngine engine;
    auto& transfer = engine.transport->last();
    transfer.respond(200);
    transfer.send(12'345);
    engine.store->syncDelay = 5;
    engine.files->completionDelay = 60;
    engine.scheduler.runFor(2.1); // a checkpoint is under way
    transfer.finish();
    engine.scheduler.runFor(5.5); // and over
    EXPECT_EQ(engine.store->saved[0].size, 12'345);
    EXPECT_EQ(engine.store->saved[0].pieces.at(0).end, 12'345) << "a start would drop such pieces";
}

TEST_F(ListSaverTest, AListThatCannotBeWrittenIsToldAndTriedAgain) {
    engine.store->error = "No space left on device";
    engine.add("http://a.example/f");
    std::optional<std::string> told;
    engine.manager->whenSaved([&](const auto& error) { told = error; });
    engine.turns();
    EXPECT_EQ(told, "No space left on device");
    EXPECT_THAT(engine.store->saved, IsEmpty());
    const auto tries = engine.store->saves;
    engine.manager->whenSaved([&](const auto& error) { told = error; });
    engine.turns();
    EXPECT_NE(told, std::nullopt) << "nothing has changed since, but it isn't on the disk";
    engine.store->error.reset();
    engine.scheduler.runFor(2.1);
    EXPECT_EQ(told, std::nullopt);
    EXPECT_THAT(engine.store->saved, testing::SizeIs(1));
    EXPECT_LE(engine.store->saves - tries, 4) << "not again and again";
    engine.store->saved.clear(); // by somebody else
    engine.add("http://a.example/g");
    engine.turns();
    EXPECT_THAT(engine.store->saved, testing::SizeIs(2)) << "also the one that is as it was";
    engine.store->error = "Read-only file system";
    engine.manager->pause(1_id);
    engine.manager->whenSaved([&](const auto& error) { told = error; });
    engine.manager->stop();
    EXPECT_EQ(told, "Read-only file system") << "the end is no success either";
}

} // namespace
} // namespace fluvane::support
