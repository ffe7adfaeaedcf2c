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
    EXPECT_TRUE(record().completed);
    ASSERT_EQ(engine.files->origins.size(), 1U);
    EXPECT_EQ(engine.files->origins[0].second.referrer, link("http://page.example/"));
    EXPECT_THAT(engine.notifier->notices, ElementsAre("finished 1"));
    EXPECT_THAT(engine.files->paths(), ElementsAre("/downloads/f.bin"));
    engine.turns();
    EXPECT_EQ(engine.store->saved[0], record());
    EXPECT_FALSE(engine.power->awake);
}

TEST_F(FinisherTest, WhatEndsWithinSecondsIsToldTogether) {
    engine.add("http://a.example/1");
    engine.add("http://b.example/2");
    engine.add("http://a.example/hangs");
    server.answers = [](FakeTransfer& transfer) {
        return transfer.request.url == link("http://a.example/hangs");
    };
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
    engine.scheduler.runFor(3);
    EXPECT_THAT(engine.notifier->notices, ElementsAre("2 finished"));
}

TEST_F(FinisherTest, FailuresAtTheEndCostNothing) {
    engine.files->failChecksum = "Input/output error";
    engine.files->failFinish = "Permission denied";
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "failed"));
    EXPECT_EQ(engine.failure(1_id), "Couldn't read the file back to check it: Input/output error");
    engine.files->failChecksum.reset();
    engine.manager->resume(1_id);
    ASSERT_TRUE(engine.runUntil(1_id, "failed", 1));
    EXPECT_EQ(engine.failure(1_id), "Couldn't move the file into place: Permission denied");
    engine.files->failFinish.reset();
    engine.manager->resume(1_id);
    EXPECT_TRUE(engine.runUntil(1_id, "finished", 1)) << "nothing is fetched again";
}

TEST_F(FinisherTest, AFileInTheUnfinishedOnesPlaceStaysSomebodyElses) {
    const std::string theirs(size, 't');
    engine.files->completionDelay = 1;
    addWithReferrer(right);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.files->put("/downloads/f.bin.fluvane", theirs);
    ASSERT_TRUE(engine.runUntil(1_id, "failed"));
    EXPECT_EQ(engine.failure(1_id), "The unfinished file went missing.");
    EXPECT_EQ(record().doneBytes(), 0) << "nothing is claimed";
    engine.manager->resume(1_id);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_EQ(engine.files->contents("/downloads/f (1).bin"), content(0, size));
    EXPECT_EQ(engine.files->contents("/downloads/f.bin.fluvane"), theirs);
}

TEST_F(FinisherTest, LateResultsOfChangedDownloadsAreDropped) {
    engine.files->completionDelay = 5;
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(1_id, "verifying"));
    engine.manager->setChecksum(1_id, right);
    ASSERT_TRUE(engine.runUntil(1_id, "finishing"));
    EXPECT_TRUE(record().checksumResult->matches()) << "the old checksum's digest was dropped";
    addWithReferrer(wrong);
    ASSERT_TRUE(engine.runUntil(2_id, "verifying"));
    engine.manager->setChecksum(2_id, std::nullopt);
    EXPECT_EQ(engine.state(2_id), "finishing");
    ASSERT_TRUE(engine.runUntil(2_id, "finished"));
    EXPECT_EQ(engine.record(2_id).checksumResult, std::nullopt);
}

TEST_F(FinisherTest, AChecksumGivenLaterIsCheckedNow) {
    engine.config.notifyWhenDone = false;
    engine.manager->apply(engine.config);
    addWithReferrer(std::nullopt);
    ASSERT_TRUE(engine.runUntil(1_id, "finished"));
    EXPECT_THAT(engine.notifier->notices, IsEmpty());
    engine.manager->setChecksum(1_id, wrong);
    engine.turns();
    EXPECT_FALSE(record().checksumResult->matches());
    engine.files->completionDelay = 5;
    engine.manager->setChecksum(1_id, right);
    engine.turns();
    engine.restart();
    engine.scheduler.runFor(6);
    EXPECT_TRUE(record().checksumResult && record().checksumResult->matches());
    engine.manager->setChecksum(1_id, std::nullopt);
    EXPECT_EQ(record().checksumResult, std::nullopt);
}

} // namespace
} // namespace fluvane::support
