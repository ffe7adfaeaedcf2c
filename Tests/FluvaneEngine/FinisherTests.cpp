// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t size = 3'000'000;
const Checksum
    right(Checksum::Algorithm::sha256,
          "281f6ff0b15f72be3fb18e495f4fa3256aa38bc748eb536711e2c8e39186b621"); ///< Of `content(0, size)`.
const Checksum wrong(Checksum::Algorithm::sha256, std::string(64, 'a'));

class FinisherTest : public testing::Test {
protected:
    FinisherTest() {
        server.size = size;
        engine.manager->start();
    }
    void addWithReferrer(std::optional<Checksum> checksum) {
        engine.manager->add(link("http://a.example/f.bin"), std::nullopt, link("http://page.example/"),
                            checksum, true);
    }
    const DownloadRecord& record() { return engine.record(1_id); }
    Engine engine;
    FakeServer server{*engine.transport, engine.scheduler};
};

TEST_F(FinisherTest, MovesIntoPlaceWithItsOriginAndTells) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(record().file, URL::file("/downloads/f.bin"));
    EXPECT_EQ(record().partial, std::nullopt);
    EXPECT_TRUE(record().completed);
    ASSERT_EQ(engine.files->origins.size(), 1U);
    EXPECT_EQ(engine.files->origins[0].second.referrer, link("http://page.example/"));
    EXPECT_THAT(engine.notifier->notices, ElementsAre("finished 1"));
    EXPECT_THAT(engine.files->paths(), ElementsAre("/downloads/f.bin"));
    engine.turns();
    EXPECT_EQ(engine.store->saved[0], record());
    EXPECT_FALSE(engine.power->awake);
}

TEST_F(FinisherTest, ChecksumsMatchOrDifferAndTheFileIsMovedEitherWay) {
    addWithReferrer(right);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_TRUE(record().checksumResult->matches());
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_FALSE(engine.record(2_id).checksumResult->matches());
    EXPECT_EQ(engine.record(2_id).name, "f (1).bin");
}

TEST_F(FinisherTest, FailuresAtTheEnd) {
    struct {
        const char* name;
        std::function<void(Engine&)> spoil;
        const char* message;
        bool isCurable;
    } const rows[] = {
        {"unreadable", [](Engine& e) { e.files->failChecksum = "Input/output error"; },
         "Couldn't read the file back to check it: Input/output error", true},
        {"immovable", [](Engine& e) { e.files->failFinish = "Permission denied"; },
         "Couldn't move the file into place: Permission denied", true},
        {"missing late",
         [](Engine& e) {
             e.files->failFinish = "No such file or directory";
             (void)e.runUntil(1_id, "finishing");
             e.files->take("/downloads/file.bin.fluvane");
         },
         "The unfinished file went missing.", false},
        {"changed",
         [](Engine& e) {
             (void)e.runUntil(1_id, "finishing");
             e.files->open(URL::file("/downloads/file.bin.fluvane"))->write(std::vector<std::byte>(1), size);
         },
         "Couldn't move the file into place: Another program changed it", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ProbingEngine fresh(wrong);
        FakeServer its(*fresh.transport, fresh.scheduler);
        its.size = size;
        fresh.transport->onStart(fresh.transport->transfers[0]);
        fresh.scheduler.runFor(0.6);
        row.spoil(fresh);
        ASSERT_TRUE(fresh.runUntil(1_id, "failed", 60));
        EXPECT_EQ(*fresh.record(1_id).state.failure(), row.message);
        if (row.isCurable) {
            fresh.files->failChecksum.reset();
            fresh.files->failFinish.reset();
            fresh.manager->resume(1_id);
            EXPECT_TRUE(fresh.runUntil(1_id, "finished", 1)) << "nothing is fetched again";
        }
    }
}

TEST_F(FinisherTest, AFileInTheUnfinishedOnesPlaceStaysSomebodyElses) {
    const std::string theirs(size, 't');
    for (const auto& [when, checksum] :
         {std::pair("verifying", std::optional(right)), std::pair("finishing", std::optional<Checksum>())}) {
        ProbingEngine fresh(checksum);
        FakeServer its(*fresh.transport, fresh.scheduler);
        its.size = size;
        fresh.transport->onStart(fresh.transport->transfers[0]);
        fresh.files->completionDelay = 1;
        ASSERT_TRUE(fresh.runUntil(1_id, when));
        fresh.files->put("/downloads/file.bin.fluvane", theirs);
        ASSERT_TRUE(fresh.runUntil(1_id, "failed"));
        EXPECT_EQ(fresh.failure(1_id), "The unfinished file went missing.");
        EXPECT_EQ(fresh.record(1_id).doneBytes(), 0) << "nothing is claimed";
        fresh.manager->resume(1_id);
        ASSERT_TRUE(fresh.runUntil(1_id, "finished"));
        EXPECT_EQ(fresh.files->contents("/downloads/file (1).bin"), content(0, size));
        EXPECT_EQ(fresh.files->contents("/downloads/file.bin.fluvane"), theirs);
    }
}

TEST_F(FinisherTest, AKillRightAfterTheMoveFetchesNothingAgain) {
    engine.files->completionDelay = 5;
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(
        engine.scheduler.runUntilTrue([&] { return engine.files->exists(URL::file("/downloads/f.bin")); }));
    EXPECT_EQ(engine.state(1_id), "finishing");
    const auto sent = server.sent;
    engine.restart();
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "finished");
    EXPECT_EQ(record().file, URL::file("/downloads/f.bin"));
    engine.scheduler.runFor(30);
    EXPECT_EQ(server.sent, sent);
    EXPECT_THAT(engine.files->paths(), ElementsAre("/downloads/f.bin"));
}

TEST_F(FinisherTest, LateResultsOfRemovedOrChangedDownloadsAreDropped) {
    engine.files->completionDelay = 5;
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.manager->setChecksum(1_id, right);
    ASSERT_TRUE(engine.runUntil(1_id, "finishing"));
    EXPECT_TRUE(record().checksumResult->matches()) << "the old checksum's digest was dropped";
    engine.manager->remove(1_id);
    engine.scheduler.runFor(20);
    EXPECT_THAT(engine.manager->downloads(), IsEmpty());
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(2_id, "verifying"));
    engine.manager->setChecksum(2_id, std::nullopt);
    EXPECT_EQ(engine.state(2_id), "finishing");
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_EQ(engine.record(2_id).checksumResult, std::nullopt);
}

TEST_F(FinisherTest, AChecksumGivenLaterIsCheckedNow) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    engine.manager->setChecksum(1_id, wrong);
    engine.turns();
    EXPECT_FALSE(record().checksumResult->matches());
    engine.manager->setChecksum(1_id, right);
    engine.turns();
    EXPECT_TRUE(record().checksumResult->matches());
    engine.manager->setChecksum(1_id, std::nullopt);
    EXPECT_EQ(record().checksumResult, std::nullopt);
}

TEST_F(FinisherTest, ARestartCarriesOnWithWhatIsLeftToDo) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    engine.files->completionDelay = 5;
    engine.manager->setChecksum(1_id, right);
    server.sendsParts = false;
    engine.manager->add(link("http://b.example/whole"), std::nullopt, {}, right, true);
    ASSERT_TRUE(engine.runUntil(2_id, "verifying"));
    engine.turns();
    const auto sent = server.sent;
    engine.restart();
    engine.scheduler.runFor(11);
    EXPECT_TRUE(record().checksumResult && record().checksumResult->matches());
    EXPECT_EQ(engine.state(2_id), "finished");
    EXPECT_EQ(server.sent, sent) << "every byte was there";
}

TEST_F(FinisherTest, UnknownSizeEndsWithItsConnection) {
    engine.config.notifyWhenDone = false;
    engine.manager->apply(engine.config);
    engine.transport->onStart = {};
    engine.add("http://a.example/stream");
    engine.turns();
    auto& transfer = engine.transport->last();
    transfer.respond(200);
    transfer.send(12'345);
    transfer.finish();
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "finished");
    EXPECT_EQ(record().size, 12'345);
    EXPECT_EQ(engine.files->contents("/downloads/stream"), content(0, 12'345));
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
}

} // namespace
} // namespace fluvane::support
