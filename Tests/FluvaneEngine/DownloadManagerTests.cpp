// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::IsEmpty;

/// An engine in which `count` downloads were added and nothing answers.
class DownloadManagerTest : public testing::Test {
protected:
    DownloadManagerTest() { engine.manager->start(); }
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
    std::string line() {
        std::string numbers;
        for (const auto* download : engine.manager->queue()) {
            numbers += std::to_string(number(download->id()));
        }
        return numbers;
    }
    Engine engine;
};

TEST_F(DownloadManagerTest, NextInLineGoesBeforeTheFirstEvenBelowZero) {
    addSome(6);
    engine.manager->downloadNext(6_id);
    EXPECT_EQ(line(), "645");
    for (int i = 0; i < 4; ++i) {
        engine.manager->downloadNext(5_id);
        engine.manager->downloadNext(4_id);
    }
    engine.manager->pause(5_id);
    engine.manager->downloadNext(5_id);
    EXPECT_EQ(line(), "546");
    engine.manager->downloadNext(1_id);
    EXPECT_EQ(engine.record(1_id).queueOrder, std::nullopt) << "it is running";
}

TEST_F(DownloadManagerTest, AnExtremePlaceFromAnEditedListIsNoCrash) {
    addSome(4);
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

TEST_F(DownloadManagerTest, PauseAllTouchesNoServerAndResumeAllLeavesFailuresAlone) {
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

TEST_F(DownloadManagerTest, CommandsForNobodyOrTheWrongStateChangeNothing) {
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

TEST_F(DownloadManagerTest, RemoveDeletesTheUnfinishedFileAndLateEventsFindNobody) {
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
    EXPECT_THAT(engine.store->saved, IsEmpty());
}

TEST_F(DownloadManagerTest, SettingsApplyAtOnce) {
    addSome(5);
    engine.config.simultaneous = 5;
    engine.config.speedLimit = 250'000;
    engine.config.keepAwake = false;
    EXPECT_TRUE(engine.power->awake);
    engine.manager->apply(engine.config);
    EXPECT_EQ(states(), "sssss");
    EXPECT_EQ(engine.transport->speedLimit, 250'000);
    EXPECT_FALSE(engine.power->awake);
    engine.transport->speedLimit.reset();
    engine.restart();
    EXPECT_EQ(engine.transport->speedLimit, 250'000) << "from the first byte";
    engine.config.speedLimit.reset();
    engine.manager->apply(engine.config);
    EXPECT_EQ(engine.transport->speedLimit, std::nullopt);
}

} // namespace
} // namespace fluvane::support
