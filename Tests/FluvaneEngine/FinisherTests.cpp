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

constexpr std::int64_t size = 3'000'000;
// Digests of `content(0, size)` are computed where needed; these are of nothing and of nobody.
const Checksum wrong(Checksum::Algorithm::sha256, std::string(64, 'a'));

class FinisherTest : public testing::Test {
protected:
    FinisherTest() {
        server.size = size;
        engine.manager->start();
    }
    Checksum right() {
        MemoryFileStore files(engine.scheduler);
        std::string digest;
        files.put("/whole", content(0, size));
        files.checksum(URL::file("/whole"), Checksum::Algorithm::sha256,
                       [&](const Outcome<std::string>& outcome) { digest = outcome.value(); });
        engine.turns();
        return {Checksum::Algorithm::sha256, digest};
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
    addWithReferrer(right());
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_TRUE(record().checksumResult->matches());
    EXPECT_THAT(engine.log.lines, Contains("downloads: download 1: the finished file matches its SHA-256"));
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_FALSE(engine.record(2_id).checksumResult->matches());
    EXPECT_EQ(engine.record(2_id).name, "f (1).bin");
    EXPECT_THAT(engine.log.lines,
                Contains("downloads: download 2: the finished file doesn't match its SHA-256"));
}

TEST_F(FinisherTest, FailuresAtTheEnd) {
    struct {
        const char* name;
        std::function<void(Engine&)> spoil;
        const char* message;
    } const rows[] = {
        {"unreadable", [](Engine& e) { e.files->failChecksum = "Input/output error"; },
         "Couldn't read the file back to check it: Input/output error"},
        {"immovable", [](Engine& e) { e.files->failFinish = "Permission denied"; },
         "Couldn't move the file into place: Permission denied"},
        {"missing", [](Engine& e) { e.files->remove(URL::file("/downloads/f.bin.fluvane")); },
         "The unfinished file went missing."},
        {"missing late",
         [](Engine& e) {
             e.files->failFinish = "No such file or directory";
             (void)e.runUntil(1_id, "finishing");
             e.files->remove(URL::file("/downloads/f.bin.fluvane"));
         },
         "The unfinished file went missing."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Engine fresh;
        fresh.manager->start();
        FakeServer its(*fresh.transport, fresh.scheduler);
        its.size = size;
        fresh.add("http://a.example/f.bin", wrong);
        fresh.scheduler.runFor(0.6);
        row.spoil(fresh);
        ASSERT_TRUE(fresh.runUntil(1_id, "failed", 60));
        EXPECT_EQ(*fresh.record(1_id).state.failure(), row.message);
        if (std::string(row.message).starts_with("Couldn't")) {
            fresh.files->failChecksum.reset();
            fresh.files->failFinish.reset();
            fresh.manager->resume(1_id);
            EXPECT_TRUE(fresh.runUntil(1_id, "finished", 1)) << "nothing is fetched again";
        }
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
    EXPECT_EQ(engine.state(1_id), "finished");
    EXPECT_EQ(record().file, URL::file("/downloads/f.bin"));
    engine.scheduler.runFor(30);
    EXPECT_EQ(server.sent, sent);
    EXPECT_THAT(engine.files->paths(), ElementsAre("/downloads/f.bin"));
}

TEST_F(FinisherTest, AKillBeforeTheMoveLeavesSomebodyElsesFileAlone) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finishing"));
    engine.files->put("/downloads/f.bin", content(0, size));
    engine.restart();
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(record().name, "f (1).bin");
}

TEST_F(FinisherTest, LateResultsOfRemovedOrChangedDownloadsAreDropped) {
    const auto expected = right();
    engine.files->completionDelay = 5;
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.manager->setChecksum(1_id, expected);
    ASSERT_TRUE(engine.runUntil(1_id, "finishing"));
    EXPECT_TRUE(record().checksumResult->matches()) << "the old checksum's digest was dropped";
    engine.manager->remove(1_id);
    engine.scheduler.runFor(20);
    EXPECT_THAT(engine.manager->downloads(), IsEmpty());
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
}

TEST_F(FinisherTest, AChecksumTakenAwayDuringItsCheckLetsTheFileThrough) {
    engine.files->completionDelay = 5;
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.manager->setChecksum(1_id, std::nullopt);
    EXPECT_EQ(engine.state(1_id), "finishing");
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(record().checksumResult, std::nullopt);
}

TEST_F(FinisherTest, ADigestThatComesAfterAFailureChangesNothing) {
    engine.files->completionDelay = 5;
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.files->remove(*record().partial);
    engine.manager->setChecksum(1_id, right());
    ASSERT_EQ(engine.state(1_id), "failed");
    engine.scheduler.runFor(20);
    EXPECT_EQ(engine.failure(1_id), "The unfinished file went missing.");
    EXPECT_EQ(record().checksumResult, std::nullopt);
    EXPECT_THAT(engine.notifier->notices, testing::SizeIs(1));
}

TEST_F(FinisherTest, AChecksumGivenLaterIsCheckedNow) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    engine.manager->setChecksum(1_id, wrong);
    engine.turns();
    EXPECT_FALSE(record().checksumResult->matches());
    engine.manager->setChecksum(1_id, right());
    engine.turns();
    EXPECT_TRUE(record().checksumResult->matches());
    engine.manager->setChecksum(1_id, std::nullopt);
    EXPECT_EQ(record().checksumResult, std::nullopt);
    engine.files->remove(*record().file);
    engine.manager->setChecksum(1_id, wrong);
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "finished");
    EXPECT_EQ(record().checksumResult, std::nullopt);
}

TEST_F(FinisherTest, ARestartCarriesOnWithWhatIsLeftToDoAndComplainsOfNothing) {
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    const auto expected = right();
    engine.files->completionDelay = 5;
    engine.manager->setChecksum(1_id, expected);
    server.sendsParts = false;
    engine.manager->add(link("http://b.example/whole"), std::nullopt, {}, expected, true);
    ASSERT_TRUE(engine.runUntil(2_id, "verifying"));
    engine.manager->add(link("http://c.example/new"), std::nullopt, {}, {}, true);
    engine.manager->pause(3_id);
    engine.turns();
    const auto sent = server.sent;
    engine.restart();
    engine.scheduler.runFor(11);
    EXPECT_TRUE(record().checksumResult && record().checksumResult->matches());
    EXPECT_EQ(engine.state(2_id), "finished");
    EXPECT_EQ(server.sent, sent) << "every byte was there";
    EXPECT_THAT(engine.log.lines, testing::Not(Contains(testing::HasSubstr("make no sense"))));
}

TEST_F(FinisherTest, AChecksumGivenDuringTheMoveIsCheckedAfterIt) {
    engine.files->completionDelay = 5;
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finishing"));
    engine.scheduler.runFor(1);
    engine.manager->setChecksum(1_id, wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    engine.scheduler.runFor(6);
    ASSERT_TRUE(record().checksumResult);
    EXPECT_FALSE(record().checksumResult->matches());
}

TEST_F(FinisherTest, UnknownSizeEndsWithItsConnection) {
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
}

TEST_F(FinisherTest, NoticesFollowTheSetting) {
    engine.config.notifyWhenDone = false;
    engine.manager->apply(engine.config);
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
}

} // namespace
} // namespace fluvane::support
