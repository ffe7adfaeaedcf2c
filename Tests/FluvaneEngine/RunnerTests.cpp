// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t size = 80'000'000;
constexpr std::int64_t secondStart = 9'961'472; ///< Of the second of its 8 pieces.
constexpr const char* changed = "The file changed on the server, so this download stopped.";

/// A download of 8 pieces with two connections, the first of which is open, answered by hand.
struct TwoConnections : ProbingEngine {
    TwoConnections() { probe().respondPart(size, headers("ETag: \"v\"\nLast-Modified: then")); }
    FakeTransfer& probe() { return *transport->transfers[0]; }
    FakeTransfer& second() { return *transport->transfers[1]; }
};

class RunnerTest : public testing::Test {
protected:
    FakeTransfer& last() { return engine.transport->last(); }
    const Download& download() { return *engine.manager->download(1_id); }
    /// Every open connection breaks.
    void failAll(const char* message, bool offline = false) {
        for (const auto& transfer : engine.transport->live()) {
            transfer->fail(message, offline);
        }
    }
    TwoConnections engine;
    FakeTransfer& probe = engine.probe();
    FakeTransfer& second = engine.second();
};

TEST(Runner, AnswersToPieceRequests) {
    struct {
        const char* name;
        int status;
        const char* headers;
        std::string outcome; ///< The state, or why it failed.
        int cap;
    } const rows[] = {
        {"refused", 403, "", "link-expired", 8},
        {"range refused", 416, "", changed, 8},
        {"too many", 429, "", "downloading", 4},
        {"time-out", 408, "", "downloading", 8},
        {"wrong part", 206, "Content-Range: bytes 5-9/80000000", "downloading", 8},
        {"other size", 206, "Content-Range: bytes 9961472-19999999/90000000", changed, 8},
        {"other tag", 206, "Content-Range: bytes 9961472-19999999/80000000\nETag: \"w\"", changed, 8},
        {"whole, changed", 200, "ETag: \"w\"", changed, 8},
        {"whole", 200, "", "downloading", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TwoConnections engine;
        engine.probe().send(1000);
        const auto piece = engine.transport->transfers[1];
        ASSERT_EQ(piece->request.from, secondStart);
        piece->respond(row.status, headers(row.headers));
        EXPECT_EQ(engine.failure(1_id), row.outcome);
        EXPECT_TRUE(piece->isOver());
        EXPECT_EQ(engine.manager->download(1_id)->caps.allowed(8), row.cap);
        const bool discarded = row.outcome == changed;
        engine.turns();
        EXPECT_EQ(engine.files->paths().empty(), discarded);
        EXPECT_EQ(engine.record(1_id).doneBytes(), discarded ? 0 : 1000) << "nothing else loses a byte";
    }
}

TEST_F(RunnerTest, AnExpiredLinkKeepsEveryByteAndSaysSo) {
    probe.send(5000);
    second.respond(403);
    EXPECT_EQ(engine.state(1_id), "link-expired");
    EXPECT_TRUE(probe.isOver());
    EXPECT_EQ(engine.record(1_id).doneBytes(), 5000);
    EXPECT_THAT(engine.notifier->notices, ElementsAre("expired 1"));
    engine.manager->updateLink(1_id, link("http://a.example/fresh"));
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "downloading");
    EXPECT_EQ(engine.transport->live()[0]->request.from, 5000);
}

TEST_F(RunnerTest, AnEarlyEndIsRetriedFromWhereItEnded) {
    probe.send(5000);
    probe.finish();
    engine.turns();
    EXPECT_EQ(download().retry.reason, "The server closed the connection early.");
    engine.scheduler.runFor(1.1);
    EXPECT_EQ(last().request.from, 5000);
}

TEST_F(RunnerTest, BusyServersSetTheDelay) {
    probe.fail("Broken.");
    second.respond(503, {{"Retry-After", "120"}});
    EXPECT_EQ(engine.state(1_id), "retrying") << "one retry for both";
    EXPECT_EQ(download().retry.failures(), 1);
    engine.scheduler.runFor(1.5);
    EXPECT_EQ(engine.state(1_id), "downloading");
    for (const auto& transfer : engine.transport->live()) {
        transfer->respond(503, {{"Retry-After", "120"}});
    }
    const auto started = engine.transport->transfers.size();
    engine.scheduler.runFor(119);
    EXPECT_EQ(engine.transport->transfers.size(), started);
    engine.scheduler.runFor(2);
    EXPECT_GT(engine.transport->transfers.size(), started);
    EXPECT_EQ(download().caps.allowed(8), 4) << "halved once from 8: it is out, not full";
}

TEST_F(RunnerTest, TellsWhyAndWhenItIsTriedAgain) {
    second.respond(503, {{"Retry-After", "40"}});
    EXPECT_FALSE(engine.manager->retryIn(download())) << "the other connection still runs";
    engine.scheduler.runFor(10);
    probe.fail("Broken.");
    ASSERT_EQ(engine.state(1_id), "retrying");
    EXPECT_EQ(engine.manager->retryIn(download()), 30);
    EXPECT_EQ(download().retry.reason, "The server is busy (503).") << "whose delay it is";
    engine.manager->pause(1_id);
    EXPECT_FALSE(engine.manager->retryIn(download()));
}

TEST_F(RunnerTest, TheServersDelayKeepsBackOnlyWhatItDidNotServe) {
    second.respond(429, {{"Retry-After", "60"}});
    probe.send(secondStart);
    EXPECT_FALSE(probe.isOver()) << "it asked for everything, and nobody else gets the next piece";
    probe.send(size);
    ASSERT_TRUE(probe.isOver());
    ASSERT_EQ(engine.transport->live().size(), 1U) << "as many as it served";
    last().respond(429);
    EXPECT_THAT(engine.transport->live(), IsEmpty()) << "it serves none anymore";
    EXPECT_EQ(engine.state(1_id), "retrying");
    engine.manager->reconnect();
    engine.scheduler.runFor(59);
    EXPECT_THAT(engine.transport->live(), IsEmpty());
    engine.scheduler.runFor(2);
    EXPECT_FALSE(engine.transport->live().empty());
}

TEST_F(RunnerTest, TheNinthFailureInARowIsTheEnd) {
    std::vector<double> delays;
    for (int attempt = 1; attempt <= 9; ++attempt) {
        EXPECT_NE(engine.state(1_id), "failed");
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
    EXPECT_EQ(download().retry.failures(), 0);
    EXPECT_EQ(engine.state(1_id), "downloading");
}

TEST_F(RunnerTest, BeingOfflineIsNobodysFault) {
    for (int round = 0; round < 20; ++round) {
        failAll("No route to host.", true);
        ASSERT_TRUE(engine.runUntil(1_id, "downloading"));
    }
}

TEST_F(RunnerTest, AWholeFileToARangeRequestWithTheSameValidatorsIsAskedWithoutIfRange) {
    probe.send(1000);
    second.respond(200, {{"ETag", "\"v\""}, {"Content-Length", "80000000"}});
    probe.fail("Broken.");
    engine.scheduler.runFor(1.1);
    EXPECT_EQ(last().request.ifRange, std::nullopt);
    last().respondPart(size, {{"ETag", "\"v\""}});
    EXPECT_EQ(download().connections(), 2) << "it does send parts, so the old cap is back";
    engine.manager->pause(1_id);
    engine.manager->updateLink(1_id, link("http://b.example/f"));
    engine.turns();
    EXPECT_EQ(last().request.ifRange, "\"v\"") << "of a new link it's asked again";
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
