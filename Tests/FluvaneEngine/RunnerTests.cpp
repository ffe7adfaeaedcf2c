// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::ElementsAre;

/// A download of 8 pieces with two connections, the first of which is open, answered by hand.
class RunnerTest : public testing::Test {
protected:
    FakeTransfer& answered() {
        engine.transport->last().respondPart(80'000'000, {{"ETag", "\"v\""}});
        return *engine.transport->transfers[0];
    }
    const Download& download() { return *engine.manager->download(1_id); }
    /// Every open connection breaks.
    void failAll(const char* message, bool offline = false) {
        for (const auto& transfer : engine.transport->live()) {
            transfer->fail(message, offline);
        }
    }
    ProbingEngine engine;
    FakeTransfer& probe = answered();
    FakeTransfer& second = *engine.transport->transfers[1];
};

TEST_F(RunnerTest, WhatFailsTogetherCountsOnce) {
    probe.fail("Broken.");
    second.respond(503, {{"Retry-After", "120"}});
    EXPECT_EQ(engine.state(1_id), "retrying") << "one retry for both";
    EXPECT_EQ(download().retry->failures(), 1);
    engine.scheduler.runFor(1.5);
    for (const auto& transfer : engine.transport->live()) {
        transfer->respond(503, {{"Retry-After", "120"}});
    }
    EXPECT_EQ(download().caps->allowed(8), 4) << "halved once from 8: it is out, not full";
}

TEST_F(RunnerTest, TellsWhyAndWhenItIsTriedAgain) {
    second.respond(408, {{"Retry-After", "40"}});
    EXPECT_EQ(download().caps->allowed(8), 8) << "that says nothing of how many it serves";
    EXPECT_FALSE(engine.manager->retryIn(download())) << "the other connection still runs";
    engine.scheduler.runFor(10);
    probe.fail("Broken.");
    ASSERT_EQ(engine.state(1_id), "retrying");
    EXPECT_EQ(engine.manager->retryIn(download()), 30);
    EXPECT_EQ(download().retry->reason, "The server is busy (408).") << "whose delay it is";
    for (const std::int64_t places : {0, 0, 0, 1}) { // of three, two run by then
        EXPECT_EQ(engine.manager->placesHeldByRetries(), places);
        engine.add("http://b.example/other.bin");
        engine.turns();
    }
}

TEST_F(RunnerTest, TheServersDelayKeepsBackOnlyWhatItDidNotServe) {
    second.respond(429, {{"Retry-After", "60"}});
    probe.send(80'000'000);
    ASSERT_TRUE(probe.isOver());
    ASSERT_EQ(engine.transport->live().size(), 1U) << "as many as it served";
    engine.transport->last().respond(429);
    EXPECT_EQ(engine.state(1_id), "retrying") << "it serves none anymore";
    engine.manager->reconnect();
    engine.scheduler.runFor(59);
    EXPECT_TRUE(engine.transport->live().empty());
}

TEST_F(RunnerTest, TheNinthFailureInARowIsTheEnd) {
    std::vector<double> delays;
    for (int attempt = 1; attempt <= 9; ++attempt) {
        failAll("The server stopped answering.");
        const auto before = engine.scheduler.now();
        if (attempt < 9) {
            EXPECT_EQ(engine.state(1_id), "retrying");
            ASSERT_TRUE(engine.runUntil(1_id, "downloading"));
            delays.push_back(engine.scheduler.now() - before);
        }
    }
    EXPECT_EQ(engine.failure(1_id), "The server stopped answering.");
    EXPECT_THAT(delays, ElementsAre(1, 2, 4, 8, 16, 32, 60, 60));
    EXPECT_THAT(engine.notifier->notices, ElementsAre("failed 1: The server stopped answering."));
    engine.manager->resume(1_id);
    EXPECT_EQ(download().retry->failures(), 0);
    for (int round = 0; round < 20; ++round) { // being offline is nobody's fault
        engine.turns();
        failAll("No route to host.", true);
        ASSERT_TRUE(engine.runUntil(1_id, "downloading"));
    }
}

TEST_F(RunnerTest, AWholeFileThatIsTheSameIsAskedForWithoutIfRange) {
    second.respond(200, {{"ETag", "\"v\""}});
    probe.fail("Broken.");
    engine.scheduler.runFor(1.1);
    EXPECT_EQ(engine.transport->last().request.ifRange, std::nullopt);
    engine.transport->last().respondPart(80'000'000, {{"ETag", "\"v\""}});
    EXPECT_EQ(download().connections(), 2) << "it does send parts, so the old cap is back";
    engine.manager->pause(1_id);
    engine.manager->updateLink(1_id, link("http://b.example/f"));
    engine.turns();
    EXPECT_EQ(engine.transport->last().request.ifRange, "\"v\"") << "of a new link it's asked again";
}

TEST(WithoutParts, AFailureStartsOverFromAProbe) {
    ProbingEngine engine;
    for (int attempt = 0; attempt < 9; ++attempt) {
        engine.transport->last().respond(200, {{"Content-Length", "3000000"}});
        engine.transport->last().send(2'000'000);
        engine.transport->last().fail("Broken.");
        if (attempt < 8) {
            EXPECT_EQ(engine.record(1_id).doneBytes(), 0);
            engine.scheduler.runFor(61);
            EXPECT_TRUE(engine.transport->last().isProbe());
        }
    }
    EXPECT_EQ(engine.state(1_id), "failed") << "bytes that are thrown away are no progress";
}

} // namespace
} // namespace fluvane::support
