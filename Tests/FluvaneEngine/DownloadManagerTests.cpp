// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

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
    engine.manager->downloadNext(4_id);
    engine.manager->pause(5_id);
    engine.manager->downloadNext(5_id);
    EXPECT_EQ(line(), "546");
    engine.manager->downloadNext(1_id);
    EXPECT_EQ(engine.record(1_id).queueOrder, std::nullopt) << "it is running";
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
