// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace fluvane::support {
namespace {

using testing::Contains;
using testing::IsEmpty;

class StarterTest : public testing::Test {
protected:
    FakeTransfer& addAndProbe(const std::string& url = "http://a.example/file.bin") {
        engine.manager->start();
        engine.add(url);
        engine.turns();
        return engine.transport->last();
    }
    const DownloadRecord& record() { return engine.record(1_id); }
    Engine engine;
};

TEST_F(StarterTest, ARefusedRangeOfNothingIsAnEmptyFile) {
    auto& probe = addAndProbe();
    probe.respond(416, {{"Content-Range", "bytes */0"},
                        {"Content-Length", "120"},
                        {"Content-Type", "text/html"},
                        {"Content-Encoding", "gzip"}});
    EXPECT_EQ(probe.end(), 0);
    probe.finish();
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "finished");
    EXPECT_EQ(engine.files->contents("/downloads/file.bin"), "");
}

TEST_F(StarterTest, FindsFolderAndNameThatReplaceNothing) {
    engine.config.rules = {
        {.id = "host", .match = Rule::Site{"a.example"}, .folder = {}, .connections = 1},
        {.id = "films", .match = Rule::Kind{FileKind::video}, .folder = "/films", .connections = {}},
    };
    engine.manager->apply(engine.config);
    engine.files->put("/films/film.mkv", "mine");
    engine.files->put("/films/film (1).mkv.fluvane", "somebody's");
    auto& probe = addAndProbe("http://a.example/get?id=5");
    probe.respondPart(3'000'000, {{"Content-Disposition", "attachment; filename=\"film.mkv\""}});
    EXPECT_EQ(record().name, "film (2).mkv");
    EXPECT_EQ(record().folder.path(), "/films");
    EXPECT_EQ(record().rule, std::string("films"));
    EXPECT_EQ(engine.manager->download(1_id)->connections(), 1) << "the site's rule";
    engine.manager->add(link("http://b.example/film.mkv"), URL::folder("/films"), {}, {}, true);
    engine.transport->last().respondPart(10);
    EXPECT_EQ(engine.record(2_id).name, "film (3).mkv") << "another download's name counts as taken";
    EXPECT_EQ(engine.record(2_id).rule, std::nullopt);
}

TEST_F(StarterTest, WhatAKillLeavesBehindIsItsOwnAgain) {
    ProbingEngine fresh;
    fresh.files->keepsMarks = false;
    std::vector<DownloadRecord> atCreation;
    fresh.files->onCreate = [&](const auto& /*path*/) { atCreation = fresh.store->saved; };
    fresh.transport->last().respondPart(3'000'000);
    const auto partial = fresh.record(1_id).partial;
    fresh.files->put(partial->path(), "");
    fresh.store->saved = atCreation; // the kill came before the next save
    fresh.restart();
    fresh.turns();
    EXPECT_EQ(fresh.record(1_id).partial, std::nullopt);
    fresh.files->onCreate = [&](const auto& /*path*/) { fresh.store->hung = {fresh.store->list}; };
    fresh.transport->last().respondPart(3'000'000);
    EXPECT_THAT(fresh.files->paths(), testing::ElementsAre(partial->path()));
    EXPECT_EQ(fresh.state(1_id), "starting") << "with its first bytes it wouldn't be known by its name";
    fresh.store->hung.clear();
    fresh.scheduler.runFor(2);
    EXPECT_EQ(fresh.state(1_id), "downloading");
    EXPECT_FALSE(fresh.store->saved.at(0).pieces.empty());
}

TEST_F(StarterTest, AFileWithoutTheMarkThatItWasMadeWithIsSomebodyElses) {
    addAndProbe().respondPart(3'000'000);
    const auto path = record().partial->path();
    const std::string theirs(3'000'000, 'x');
    engine.transport->last().send(500'000);
    engine.scheduler.runFor(6);
    engine.manager->pause(1_id);
    engine.files->remove(*record().partial, Owner(record()), false);
    engine.files->put(path, theirs);
    engine.restart();
    engine.manager->resume(1_id);
    engine.turns();
    engine.transport->last().respondPart(3'000'000);
    EXPECT_EQ(record().name, "file (1).bin");
    EXPECT_EQ(engine.files->contents(path), theirs);
}

TEST_F(StarterTest, WhatIsRemovedForNowComesBackAsItWas) {
    auto& probe = addAndProbe();
    probe.respondPart(3'000'000);
    engine.turns();
    probe.send(500'000);
    engine.turns();
    for (const auto* end : {"undone", "over", "killed"}) {
        SCOPED_TRACE(end);
        engine.manager->removeForNow({1_id});
        engine.manager->resumeAll();
        engine.turns();
        EXPECT_THAT(engine.manager->downloads(), IsEmpty());
        EXPECT_EQ(engine.store->saved.at(0).removed, true);
        if (end == std::string("undone")) {
            EXPECT_THAT(engine.manager->undoRemoval(), testing::ElementsAre(1_id));
            engine.turns();
            EXPECT_TRUE(record().state.isActive());
            EXPECT_EQ(record().doneBytes(), 500'000);
        } else if (end == std::string("over")) {
            const auto saved = engine.store->saved;
            engine.scheduler.runFor(DownloadManager::undoTime + 1);
            EXPECT_THAT(engine.manager->undoRemoval(), IsEmpty());
            EXPECT_THAT(engine.files->paths(), IsEmpty());
            EXPECT_THAT(engine.store->saved, IsEmpty());
            engine.store->saved = saved;
            engine.store->saved[0].removed.reset();
            engine.store->saved[0].partial.reset();
            engine.store->saved[0].state = DownloadState::Finished{};
            engine.restart();
        } else {
            engine.restart();
            engine.turns();
            EXPECT_THAT(engine.store->saved, IsEmpty()) << "finished, it has no file to delete";
        }
    }
}

TEST_F(StarterTest, WhatIsRemovedIsDeletedOnceTheListSaysSo) {
    addAndProbe().respondPart(3'000'000);
    engine.turns();
    const auto path = record().partial->path();
    engine.files->hung = {1_id}; // until the kill
    engine.manager->remove(1_id);
    engine.turns();
    const auto removed = engine.store->saved.at(0);
    EXPECT_TRUE(removed.removed.value_or(false));
    engine.files->hung.clear();
    engine.files->failRemove = true;
    engine.restart();
    engine.turns();
    EXPECT_THAT(engine.store->saved, testing::SizeIs(1)) << "it is tried again at each start";
    engine.files->failRemove = false;
    engine.restart();
    EXPECT_TRUE(engine.manager->downloads().empty());
    engine.turns();
    EXPECT_THAT(engine.files->paths(), IsEmpty());
    EXPECT_THAT(engine.store->saved, IsEmpty());
    EXPECT_EQ(engine.add("http://a.example/next"), 2_id) << "no number is given twice";

    auto another = removed; // which has the name by now
    another.id = 5_id;
    another.removed.reset();
    engine.files->put(path, std::string(3'000'000, 'x'));
    engine.store->saved = {removed, another};
    engine.restart();
    engine.turns();
    EXPECT_THAT(engine.files->paths(), Contains(path));
}

TEST_F(StarterTest, ANameKeptFromAnEarlierRunIsAskedAgain) {
    addAndProbe().respond(200, {{"Content-Length", "1000"}});
    engine.manager->pause(1_id);
    engine.config.folder = "/elsewhere";
    engine.manager->apply(engine.config);
    engine.files->put("/elsewhere/file.bin.fluvane", "somebody's");
    engine.manager->resume(1_id);
    engine.turns();
    engine.transport->last().respond(200, {{"Content-Length", "1000"}});
    EXPECT_EQ(record().name, "file (1).bin");
    EXPECT_THAT(engine.files->paths(),
                testing::ElementsAre("/elsewhere/file (1).bin.fluvane", "/elsewhere/file.bin.fluvane"))
        << "the old one is let go";
}

TEST_F(StarterTest, LongNamesLeaveRoomForTheUnfinishedFile) {
    addAndProbe("http://a.example/" + std::string(300, 'n') + ".zip").respondPart(10);
    const auto partial = record().partial->lastPathComponent();
    EXPECT_LE(partial.size(), 255U);
    EXPECT_TRUE(partial.ends_with(".zip.fluvane"));
}

TEST_F(StarterTest, WhatCannotBeHasNoFile) {
    const struct {
        std::int64_t size;
        const char* type;
        std::optional<std::int64_t> freeSpace;
        std::string failure;
    } rows[] = {
        {1'200'000'000, "", 1'000'000, "Not enough space: it needs 1.2 GB, and there's 1 MB free."},
        {std::numeric_limits<std::int64_t>::max(), "", {}, "Couldn't create the file: File too large"},
        {1000,
         "text/html",
         {},
         "This link opens a web page, not a file. It may need you to sign in, or to start "
         "the download on that page, in your browser."},
    };
    addAndProbe();
    for (const auto& row : rows) {
        engine.files->freeSpace = row.freeSpace; // the whole disk has a hundred times as much
        engine.transport->last().respondPart(row.size, {{"Content-Type", row.type}});
        EXPECT_EQ(engine.failure(1_id), row.failure);
        EXPECT_EQ(record().opensWebPage.value_or(false), *row.type != 0);
        EXPECT_THAT(engine.files->paths(), IsEmpty());
        engine.manager->resume(1_id);
        engine.turns();
    }
}

/// A download stopped half-way, with its unfinished file.
class CarryOnTest : public StarterTest {
protected:
    void SetUp() override {
        auto& probe = addAndProbe();
        probe.respondPart(4'000'000, {{"ETag", "\"v\""}});
        probe.send(100'000);
        engine.manager->pause(1_id);
        engine.turns();
    }
};

TEST_F(CarryOnTest, StartsAfreshWithoutItsWholeFile) {
    for (const std::size_t size : {0, 5, 4'000'001}) {
        engine.files->put(record().partial->path(), std::string(size, 'x'));
        if (size == 0) {
            engine.files->take(record().partial->path());
        }
        engine.manager->resume(1_id);
        engine.turns();
        EXPECT_TRUE(engine.transport->last().isProbe()) << size;
        EXPECT_EQ(record().doneBytes(), 0);
        engine.transport->last().respondPart(4'000'000);
        engine.manager->pause(1_id);
    }
}

TEST_F(CarryOnTest, KeepsWhatItHasWhileThatCannotBeReached) {
    engine.files->failOpen = "Permission denied";
    engine.manager->resume(1_id);
    engine.turns();
    EXPECT_EQ(engine.failure(1_id), "Couldn't open the unfinished file: Permission denied");
    engine.files->failOpen.reset();
    engine.files->take(record().partial->path());
    engine.files->missingFolders = {"/downloads"};
    engine.manager->resume(1_id);
    engine.turns();
    EXPECT_EQ(engine.failure(1_id),
              "The folder “/downloads” isn't there. It may be on a drive that isn't connected.");
    EXPECT_EQ(record().doneBytes(), 100'000);
}

TEST_F(CarryOnTest, WhatIsGoneAtAStartMayComeBackUntilSomebodyAsks) {
    const auto partial = *record().partial;
    engine.manager->resume(1_id);
    engine.turns();
    engine.files->take(partial.path());
    engine.restart();
    engine.turns();
    EXPECT_EQ(engine.failure(1_id),
              "The unfinished file isn't there. It may be on a drive that isn't connected.");
    EXPECT_EQ(record().doneBytes(), 100'000);
    engine.files->put(partial.path(), std::string(4'000'000, 'x'), 2_id);
    engine.store->error = "No space left on device";
    engine.manager->resume(1_id);
    engine.turns();
    EXPECT_EQ(engine.failure(1_id), "The list of downloads can't be saved: No space left on device")
        << "another download's file is nothing to carry on with, but what is saved may be claimed of it";
    engine.store->error.reset();
    engine.manager->resume(1_id);
    engine.scheduler.runFor(3); // it is tried again every 2 s
    engine.transport->last().respondPart(4'000'000);
    EXPECT_EQ(record().name, "file (1).bin");
    EXPECT_TRUE(engine.files->exists(partial)) << "it isn't ours";
}

// Disks that don't answer, or have no room

TEST(Starter, AFileCreatedTooLateIsRemoved) {
    for (const bool isEnd : {false, true}) {
        ProbingEngine engine;
        engine.files->onCreate = [&](const auto&) { // before anybody hears of the file
            engine.scheduler.after(0, [&] {
                isEnd ? void(engine.manager->stop()) : engine.manager->pause(1_id);
                EXPECT_THAT(engine.files->paths(), testing::SizeIs(1));
            });
        };
        engine.transport->last().respondPart(3'000'000);
        EXPECT_THAT(engine.files->paths(), IsEmpty());
    }
}

TEST_F(StarterTest, AFullDiskEndsWhatHasNoLength) {
    addAndProbe().respond(200);
    engine.files->failFull = "No space left on device";
    engine.transport->last().send(1000); // fetched anew, it would meet the same
    EXPECT_EQ(engine.failure(1_id), "Couldn't write to the file: No space left on device");
}

TEST_F(StarterTest, AFullDiskMidwayIsWaitedForAndThenCarriedOnWith) {
    auto& probe = addAndProbe();
    probe.respondPart(8'000'000);
    probe.send(500'000);
    engine.files->failFull = "No space left on device";
    probe.send(100'000);
    EXPECT_EQ(engine.state(1_id), "no-space");
    engine.files->failFull.reset();
    engine.scheduler.runFor(6);
    EXPECT_EQ(engine.transport->live().front()->request.from, 500'000);
}

TEST_F(StarterTest, WaitsForSpaceThatOthersNeed) {
    engine.files->freeSpace = 10'000'000;
    auto& probe = addAndProbe();
    probe.respondPart(8'000'000);
    probe.sendQuietly(1'000'000);
    engine.add("http://b.example/other.bin");
    engine.turns();
    engine.restart();
    engine.turns();
    const auto answerProbe = [&] {
        const auto live = engine.transport->live();
        const auto found = std::ranges::find_if(live, &FakeTransfer::isProbe);
        ASSERT_NE(found, live.end());
        (*found)->respondPart(2'500'000);
    };
    answerProbe();
    EXPECT_EQ(
        engine.manager->download(2_id)->retry->reason,
        "Waiting for 30.5 MB of free space on “/disk”: 20.5 MB are missing."); // 2.5 + 8 + a reserve of 20
    engine.manager->remove(1_id);
    engine.scheduler.runFor(6);
    answerProbe();
    EXPECT_EQ(engine.state(2_id), "downloading");
}

TEST_F(StarterTest, WithoutHolesTheFileIsFilledFromTheFront) {
    engine.files->sparse = false;
    FakeServer server(*engine.transport, engine.scheduler);
    server.size = 400'000'000;
    engine.manager->start();
    engine.add("http://a.example/file.bin");
    engine.scheduler.runFor(30);
    EXPECT_EQ(engine.transport->live().size(), 8U);
    const auto unfinished = std::ranges::find(record().pieces, false, &Piece::isComplete);
    for (const auto& transfer : engine.transport->live()) {
        EXPECT_LT(transfer->position() - unfinished->next(), 100'000'000) << "far ahead of what is there";
    }
}

} // namespace
} // namespace fluvane::support
