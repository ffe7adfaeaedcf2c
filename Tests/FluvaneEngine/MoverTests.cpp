// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Abilities.h"
#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using testing::ElementsAre;

constexpr std::int64_t size = 3'000'000;
const URL elsewhere = URL::folder("/other/place");

/// An engine with one download of a server's file.
struct Moving : Engine {
    explicit Moving(const std::string& until = "starting") {
        server.size = size;
        files->completionDelay = 1;
        manager->start();
        add("http://a.example/f.bin", Checksum(Checksum::Algorithm::md5, std::string(32, 'a')));
        if (until == "paused" || until == "failed") {
            scheduler.runFor(1);
            manager->pause(1_id);
        }
        if (until == "failed") {
            files->failOpen = "Input/output error";
            manager->resume(1_id);
        }
        EXPECT_TRUE(runUntil(1_id, until));
        scheduler.runFor(until == "downloading" ? 1 : 0);
        files->failOpen.reset();
    }
    /// What it tells: the name, or a sentence.
    std::string move(const std::optional<URL>& folder, const std::optional<std::string>& name) {
        std::string told;
        manager->move(1_id, folder, name,
                      [&](const auto& outcome) { told = outcome.ok() ? outcome.value() : outcome.error(); });
        EXPECT_EQ(told, "") << "told inside the call";
        EXPECT_TRUE(scheduler.runUntilTrue([&] { return !told.empty(); }, 60));
        return told;
    }
    FakeServer server{*transport, scheduler};
};

TEST(Mover, TakesTheFileAlongInEachStateAndFetchesNothingTwice) {
    for (const std::string state : {"starting", "downloading", "paused", "failed", "verifying", "finished"}) {
        SCOPED_TRACE(state);
        Moving engine(state);
        engine.files->put("/other/place/n.bin", "theirs");
        EXPECT_EQ(engine.move(elsewhere, "n/.bin"), "n-.bin") << "cleaned";
        EXPECT_EQ(engine.move(std::nullopt, "n.bin"), "n (1).bin");
        EXPECT_EQ(engine.record(1_id).folder, elsewhere);
        engine.manager->resume(1_id);
        ASSERT_TRUE(engine.runUntil(1_id, "finished"));
        EXPECT_EQ(engine.record(1_id).file, URL::file("/other/place/n (1).bin"));
        engine.scheduler.runFor(3);
        EXPECT_TRUE(engine.record(1_id).checksumResult);
        EXPECT_EQ(engine.files->contents("/other/place/n (1).bin"), content(0, size));
        EXPECT_EQ(engine.files->contents("/other/place/n.bin"), "theirs");
        EXPECT_EQ(engine.files->paths().size(), 2U) << "nothing stays behind";
        EXPECT_LE(engine.server.sent, size);
        EXPECT_EQ(engine.store->saved[0].moving, std::nullopt);
    }
}

TEST(Mover, WhatCantBeMovedStaysAndGoesOn) {
    const auto failing = [](auto fault, const char* sentence) {
        Moving engine("downloading");
        fault(engine);
        EXPECT_EQ(engine.move(elsewhere, std::nullopt), sentence);
        engine.files->failFinish.reset();
        engine.store->error.reset();
        EXPECT_EQ(engine.record(1_id).partial, URL::file("/downloads/f.bin.fluvane"));
        ASSERT_TRUE(engine.runUntil(1_id, "finished"));
        EXPECT_EQ(engine.record(1_id).file, URL::file("/downloads/f.bin"));
        EXPECT_LE(engine.server.sent, size);
    };
    failing([](Moving& engine) { engine.files->failFinish = "No space left on device"; },
            "Couldn't move the file: No space left on device");
    failing([](Moving& engine) { engine.store->error = "No space left on device"; },
            "The list of downloads can't be saved: No space left on device");
    Moving engine("finished");
    EXPECT_EQ(engine.move(std::nullopt, ". ."), "That can't be the name of a file.");
    engine.files->take("/downloads/f.bin");
    EXPECT_EQ(engine.move(elsewhere, std::nullopt), "“f.bin” isn't in “/downloads” anymore.");
    EXPECT_EQ(engine.record(1_id).folder, URL::folder("/downloads"));
}

TEST(Mover, AKillOnTheWayLosesNothing) {
    for (const double after : {-1.0, 0.5, 2.5}) { // not yet, there but not told, done
        for (const std::string state : {"paused", "finished"}) {
            Moving engine(state);
            engine.manager->move(1_id, elsewhere, "n", {});
            after > 0 ? engine.scheduler.runFor(after) : void();
            engine.restart();
            engine.manager->resume(1_id);
            ASSERT_TRUE(engine.runUntil(1_id, "finished"));
            engine.scheduler.runFor(5);
            const bool isKnown = after > 0;
            EXPECT_THAT(engine.files->paths(), ElementsAre(isKnown ? "/other/place/n" : "/downloads/f.bin"));
            EXPECT_EQ(engine.record(1_id).file, URL::file(engine.files->paths()[0])) << after << state;
            EXPECT_LE(engine.server.sent, size);
        }
    }
}

TEST(Mover, ARemovalOnTheWayLeavesNoFile) {
    for (const double after : {0.0, 0.5}) {
        Moving engine("paused");
        engine.manager->move(1_id, elsewhere, std::nullopt, {});
        engine.scheduler.runFor(after);
        engine.manager->remove(1_id);
        EXPECT_EQ(engine.manager->download(1_id), nullptr);
        engine.scheduler.runFor(after > 0 ? 0 : 5);
        engine.restart(); // in the middle, too
        engine.scheduler.runFor(5);
        EXPECT_TRUE(engine.files->paths().empty());
        EXPECT_TRUE(engine.store->saved.empty());
    }
}

TEST(Mover, ACopyTellsHowFarItIsAndCanBeStopped) {
    Moving engine("finished");
    std::string told;
    engine.manager->move(1_id, elsewhere, std::nullopt, [&](const auto& outcome) { told = outcome.error(); });
    engine.manager->stopMoving(1_id);
    EXPECT_TRUE(engine.scheduler.runUntilTrue([&] { return !told.empty(); }, 60));
    EXPECT_EQ(told, "It was given up.");
    EXPECT_EQ(engine.record(1_id).file, URL::file("/downloads/f.bin"));
    const Download& download = *engine.manager->download(1_id);
    engine.manager->move(1_id, elsewhere, std::nullopt, {});
    EXPECT_TRUE(engine.scheduler.runUntilTrue([&] { return download.percentMoved == 50; }, 60));
    EXPECT_TRUE(abilities(download).stopMoving);
    EXPECT_TRUE(engine.scheduler.runUntilTrue([&] { return !download.isMoving; }, 60));
    EXPECT_FALSE(abilities(download).stopMoving);
}

} // namespace
} // namespace fluvane::support
