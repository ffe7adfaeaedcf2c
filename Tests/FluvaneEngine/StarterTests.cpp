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

constexpr const char* webPage =
    "This link opens a web page, not a file. It may need you to sign in, or to start "
    "the download on that page, in your browser.";

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

TEST_F(StarterTest, AsksForAnOpenRangeAndItsConnectionBecomesTheFirstPieces) {
    auto& probe = addAndProbe();
    EXPECT_EQ(probe.request.from, 0);
    EXPECT_EQ(probe.request.to, std::nullopt);
    EXPECT_EQ(engine.manager->download(1_id)->connections(), 0);
    probe.respondPart(10'000'000, {{"ETag", "\"x\""}, {"Last-Modified", "then"}});
    EXPECT_EQ(engine.state(1_id), "downloading");
    EXPECT_EQ(record().pieces.size(), 8U);
    EXPECT_EQ(probe.end(), record().pieces[0].end);
    EXPECT_EQ(engine.manager->download(1_id)->connections(), 2);
    const auto& second = engine.transport->last().request;
    EXPECT_EQ(second.from, record().pieces[1].start);
    EXPECT_EQ(second.to, *record().pieces[1].end - 1);
    EXPECT_EQ(second.ifRange, "\"x\"");
    EXPECT_EQ(engine.files->size(URL::file("/downloads/file.bin.fluvane")), 10'000'000);
}

TEST(Starter, RefusesWhatIsNotTheFile) {
    struct {
        int status;
        const char* headers;
        std::string message;
    } const rows[] = {
        {206, "Content-Range: bytes 100-199/200",
         "The server sent a part of the file that wasn't asked for."},
        {206, "", "The server sent a part of the file that wasn't asked for."},
        {200, "Content-Type: text/html; charset=utf-8", webPage},
        {416, "Content-Range: bytes */12", "The server can't send this file (416)."},
    };
    for (const auto& row : rows) {
        ProbingEngine engine;
        auto& probe = engine.transport->last();
        probe.respond(row.status, headers(row.headers));
        EXPECT_EQ(engine.failure(1_id), row.message);
        EXPECT_TRUE(probe.isOver());
        EXPECT_THAT(engine.files->paths(), IsEmpty());
        EXPECT_THAT(engine.notifier->notices, Contains("failed 1: " + row.message));
        EXPECT_THAT(engine.log.lines, Contains("downloads: download 1 failed: " + row.message));
        EXPECT_EQ(engine.record(1_id).opensWebPage.value_or(false), row.message == webPage);
    }
}

TEST_F(StarterTest, ARefusedRangeOfNothingIsAnEmptyFile) {
    auto& probe = addAndProbe();
    probe.respond(416, headers("Content-Range: bytes */0\nContent-Length: 120\nContent-Type: text/html\n"
                               "Content-Encoding: gzip"));
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
    EXPECT_EQ(record().rule, "films");
    EXPECT_EQ(engine.manager->download(1_id)->connections(), 1) << "the site's rule";
    engine.manager->add(link("http://b.example/film.mkv"), URL::folder("/films"), {}, {}, true);
    engine.transport->last().respondPart(10);
    EXPECT_EQ(engine.record(2_id).name, "film (3).mkv") << "another download's name counts as taken";
    EXPECT_EQ(engine.record(2_id).rule, std::nullopt);
}

TEST_F(StarterTest, WhatSomebodyCreatesInBetweenIsTheirs) {
    struct {
        int faster;
        const char* end;
        const char* name;
    } const rows[] = {{2, "downloading", "file (2).bin"},
                      {1000, "Couldn't create the file: File exists", ""}};
    for (const auto& [faster, end, name] : rows) {
        ProbingEngine fresh;
        fresh.files->onCreate = [&, left = faster](const std::string& path) mutable {
            if (left-- > 0) {
                fresh.files->put(path, "theirs");
            }
        };
        fresh.transport->last().respondPart(3'000'000);
        EXPECT_EQ(fresh.failure(1_id), end);
        EXPECT_EQ(fresh.files->contents("/downloads/file.bin.fluvane"), "theirs");
        EXPECT_TRUE(fresh.record(1_id).partial.has_value() == (*name != 0));
        EXPECT_TRUE(*name == 0 || fresh.record(1_id).name == name);
    }
}

TEST_F(StarterTest, WhatAKillLeavesBehindIsItsOwnAgain) {
    for (const bool keepsMarks : {true, false}) {
        ProbingEngine fresh;
        fresh.files->keepsMarks = keepsMarks;
        std::vector<DownloadRecord> atCreation;
        fresh.files->onCreate = [&](const auto& /*path*/) { atCreation = fresh.store->saved; };
        fresh.transport->last().respondPart(3'000'000);
        const auto partial = fresh.record(1_id).partial;
        fresh.transport->transfers[0]->send(100'000);
        fresh.turns();
        if (!keepsMarks) {
            fresh.files->put(partial->path(), "");
        }
        fresh.store->saved = atCreation; // the kill came before the next save
        fresh.restart();
        fresh.turns();
        EXPECT_EQ(fresh.record(1_id).partial, std::nullopt);
        fresh.transport->last().respondPart(3'000'000);
        EXPECT_EQ(fresh.record(1_id).name, "file.bin");
        EXPECT_THAT(fresh.files->paths(), testing::ElementsAre(partial->path()));
    }
}

TEST_F(StarterTest, WhatIsRemovedIsDeletedOnceTheListSaysSo) {
    addAndProbe().respondPart(3'000'000);
    engine.turns();
    const auto path = record().partial->path();
    engine.files->hung = {1_id}; // until the kill
    engine.manager->remove(1_id);
    EXPECT_TRUE(engine.manager->downloads().empty());
    engine.turns();
    ASSERT_EQ(engine.store->saved.size(), 1U);
    const auto removed = engine.store->saved.front();
    EXPECT_TRUE(removed.removed.value_or(false));
    engine.files->hung.clear();
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
    EXPECT_EQ(engine.store->saved.size(), 1U);
}

TEST_F(StarterTest, ANameKeptFromAnEarlierRunIsAskedAgain) {
    auto& probe = addAndProbe();
    probe.respond(200, {{"Content-Length", "1000"}});
    engine.manager->pause(1_id);
    engine.config.folder = "/elsewhere";
    engine.manager->apply(engine.config);
    engine.files->put("/elsewhere/file.bin.fluvane", "somebody's");
    engine.manager->resume(1_id);
    engine.turns();
    engine.transport->last().respond(200, {{"Content-Length", "1000"}});
    EXPECT_EQ(record().name, "file (1).bin");
    EXPECT_EQ(engine.files->contents("/elsewhere/file.bin.fluvane"), "somebody's");
    EXPECT_EQ(engine.files->contents("/downloads/file.bin.fluvane"), std::nullopt) << "the old one is let go";
}

TEST_F(StarterTest, LongNamesLeaveRoomForTheUnfinishedFile) {
    auto& probe = addAndProbe();
    const auto named = headers("Content-Disposition: attachment; filename=" + std::string(300, 'n') + ".zip");
    probe.respondPart(10, named);
    const auto partial = record().partial->lastPathComponent();
    EXPECT_LE(partial.size(), 255U);
    EXPECT_TRUE(partial.ends_with(".zip.fluvane"));
}

TEST_F(StarterTest, NeedsSpaceAndAFile) {
    engine.files->freeSpace = 1'000'000;
    addAndProbe().respondPart(1'200'000'000);
    EXPECT_EQ(engine.failure(1_id), "Not enough space: it needs 1.2 GB, and there's 1 MB free.")
        << "the whole disk has 100 MB";
    engine.files->freeSpace = 1'200'000'000;
    engine.files->failCreate = "Read-only file system";
    engine.manager->resume(1_id);
    engine.transport->last().respondPart(1'200'000'000);
    EXPECT_EQ(engine.failure(1_id), "Couldn't create the file: Read-only file system");
    engine.files->failCreate.reset();
    engine.files->freeSpace.reset();
    engine.manager->resume(1_id);
    engine.transport->last().respondPart(std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(engine.failure(1_id), "Couldn't create the file: File too large");
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

TEST_F(CarryOnTest, PicksUpWithoutAProbe) {
    engine.manager->resume(1_id);
    EXPECT_EQ(engine.state(1_id), "downloading");
    engine.turns();
    const auto& first = engine.transport->transfers[2]->request;
    EXPECT_EQ(first.from, 100'000);
    EXPECT_EQ(first.ifRange, "\"v\"");
}

TEST_F(CarryOnTest, StartsAfreshWithoutItsWholeFile) {
    const std::vector<std::pair<std::string, std::function<void()>>> rows = {
        {"gone", [&] { engine.files->take(record().partial->path()); }},
        {"cut off", [&] { engine.files->put(record().partial->path(), "short"); }},
        {"too long", [&] { engine.files->put(record().partial->path(), std::string(4'000'001, 'x')); }},
    };
    for (const auto& [name, spoil] : rows) {
        SCOPED_TRACE(name);
        spoil();
        engine.manager->resume(1_id);
        engine.turns();
        EXPECT_EQ(engine.state(1_id), "starting");
        EXPECT_TRUE(engine.transport->last().isProbe());
        EXPECT_EQ(record().doneBytes(), 0);
        engine.transport->last().respondPart(4'000'000);
        engine.manager->pause(1_id);
    }
}

TEST_F(CarryOnTest, KeepsWhatItHasWhileThatCannotBeReached) {
    const auto partial = *record().partial;
    const auto saved = record();
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"Couldn't open the unfinished file: Permission denied",
         [&] { engine.files->failOpen = "Permission denied"; }},
        {"The folder “/downloads” isn't there. It may be on a drive that isn't connected.",
         [&] {
             engine.files->take(partial.path());
             engine.files->missingFolders = {"/downloads"};
         }},
    };
    for (const bool restarted : {false, true}) {
        for (const auto& [sentence, spoil] : rows) {
            SCOPED_TRACE(sentence);
            spoil();
            engine.manager->resume(1_id);
            engine.turns();
            EXPECT_EQ(engine.failure(1_id), sentence);
            if (restarted) {
                engine.restart();
            }
            EXPECT_EQ(record().partial, partial);
            EXPECT_EQ(record().pieces, saved.pieces);
            engine.files->failOpen.reset();
            engine.files->missingFolders.clear();
            engine.files->put(partial.path(), std::string(4'000'000, 'x'));
            engine.manager->resume(1_id);
            engine.turns();
            EXPECT_EQ(engine.state(1_id), "downloading");
            EXPECT_EQ(engine.transport->live().front()->request.from, 100'000);
            engine.manager->pause(1_id);
        }
    }
}

TEST_F(CarryOnTest, WhatIsGoneAtAStartMayComeBackUntilSomebodyAsks) {
    const auto partial = *record().partial;
    const auto size = record().size;
    engine.manager->resume(1_id);
    engine.turns();
    engine.files->take(partial.path());
    engine.restart();
    engine.turns();
    EXPECT_EQ(engine.failure(1_id),
              "The unfinished file isn't there. It may be on a drive that isn't connected.");
    EXPECT_EQ(record().doneBytes(), 100'000);
    engine.files->put(partial.path(), std::string(static_cast<std::size_t>(*size), 'x'), 2_id);
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

TEST_F(CarryOnTest, AFreshLinkCarriesOnFromTheSavedBytes) {
    engine.manager->updateLink(1_id, link("http://mirror.example/file.bin"));
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "downloading");
    EXPECT_EQ(engine.transport->last().request.url, link("http://mirror.example/file.bin"));
    EXPECT_EQ(record().finalURL, std::nullopt);
    engine.transport->last().respondPart(4'000'000, {{"ETag", "\"other\""}});
    EXPECT_EQ(engine.failure(1_id), "The file changed on the server, so this download stopped.");
    engine.turns();
    EXPECT_THAT(engine.files->paths(), IsEmpty());
}

// Disks that don't answer, or have no room

TEST_F(CarryOnTest, ADiskThatDoesNotAnswerHoldsUpNobodyElse) {
    engine.files->hung = {1_id};
    engine.manager->resume(1_id);
    engine.add("http://b.example/other.bin");
    engine.turns();
    engine.transport->last().respondPart(3'000'000);
    EXPECT_EQ(engine.state(2_id), "downloading");
    engine.manager->pause(1_id);
    EXPECT_EQ(engine.state(1_id), "paused");
    engine.files->answer(1_id);
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "paused") << "the file opened too late is let go";
    EXPECT_EQ(engine.manager->download(1_id)->file, nullptr);
}

TEST(Starter, AFileCreatedTooLateIsRemoved) {
    using Stop = void (*)(DownloadManager&);
    for (const Stop stop : {Stop([](DownloadManager& manager) { manager.pause(1_id); }),
                            Stop([](DownloadManager& manager) { manager.remove(1_id); }),
                            Stop([](DownloadManager& manager) { EXPECT_TRUE(manager.stop()); })}) {
        ProbingEngine engine;
        bool isCreated = false;
        engine.files->onCreate = [&](const auto&) {
            isCreated = true;
            engine.scheduler.after(0, [&] { stop(*engine.manager); }); // before anybody hears of the file
        };
        engine.transport->last().respondPart(3'000'000);
        EXPECT_TRUE(isCreated);
        EXPECT_THAT(engine.files->paths(), IsEmpty());
    }
}

TEST_F(StarterTest, AFullDiskAtTheCreationIsWaitedForUnlessTheLengthIsUnknown) {
    auto& probe = addAndProbe();
    engine.files->failFull = "No space left on device";
    probe.respondPart(3'000'000);
    EXPECT_EQ(engine.state(1_id), "no-space");
    engine.files->failFull.reset();
    engine.scheduler.runFor(6);
    auto& second = engine.transport->last();
    second.respond(200);
    engine.files->failFull = "No space left on device";
    second.send(1000);
    EXPECT_EQ(engine.failure(1_id), "Couldn't write to the file: No space left on device")
        << "fetched anew, it would meet the same";
}

TEST_F(StarterTest, WaitsForSpaceThatOthersNeed) {
    engine.files->freeSpace = 10'000'000;
    auto& probe = addAndProbe();
    probe.respondPart(8'000'000);
    probe.sendQuietly(1'000'000);
    engine.add("http://b.example/other.bin");
    engine.turns();
    engine.transport->last().respondPart(2'500'000);
    EXPECT_EQ(engine.state(2_id), "no-space");
    EXPECT_EQ(engine.manager->download(2_id)->retry.reason,
              "Waiting for 29.5 MB of free space on “/disk”."); // 2.5 + 7 + a reserve of 20
    EXPECT_EQ(engine.files->paths().size(), 1U);
    const auto answerProbe = [&] {
        const auto live = engine.transport->live();
        const auto found = std::ranges::find_if(live, &FakeTransfer::isProbe);
        ASSERT_NE(found, live.end());
        (*found)->respondPart(2'500'000);
    };
    engine.restart();
    engine.turns();
    answerProbe();
    EXPECT_EQ(engine.state(2_id), "no-space");
    engine.manager->remove(1_id);
    engine.scheduler.runFor(6);
    answerProbe();
    EXPECT_EQ(engine.state(2_id), "downloading");
}

TEST_F(StarterTest, AFullDiskMidwayIsWaitedForAndThenCarriedOnWith) {
    engine.files->freeSpace = 10'000'000;
    auto& probe = addAndProbe();
    probe.respondPart(8'000'000);
    probe.send(500'000);
    engine.files->failFull = "No space left on device";
    engine.files->freeSpace = 1'000'000;
    probe.send(100'000);
    engine.turns();
    EXPECT_EQ(engine.state(1_id), "no-space");
    EXPECT_THAT(engine.transport->live(), IsEmpty());
    engine.scheduler.runFor(3600);
    EXPECT_EQ(engine.state(1_id), "no-space") << "however long it takes";
    EXPECT_EQ(engine.transport->transfers.size(), 2U);
    engine.files->failFull.reset();
    engine.files->freeSpace = 8'000'000;
    engine.scheduler.runFor(6);
    EXPECT_EQ(engine.state(1_id), "downloading");
    EXPECT_EQ(engine.transport->live().front()->request.from, 500'000);
}

TEST_F(StarterTest, WithoutHolesTheFileIsFilledFromTheFront) {
    engine.files->sparse = false;
    FakeServer server(*engine.transport, engine.scheduler);
    server.size = 200'000'000;
    std::int64_t furthest = 0;
    engine.manager->start();
    engine.add("http://a.example/file.bin");
    while (engine.state(1_id) != "finished" && engine.scheduler.now() < 5000) {
        engine.scheduler.runFor(0.5);
        std::int64_t first = server.size;
        for (const auto& piece : record().pieces) {
            first = piece.isComplete() ? first : std::min(first, piece.next());
        }
        for (const auto& transfer : engine.transport->live()) {
            furthest = std::max(furthest, transfer->position() - first);
        }
    }
    EXPECT_EQ(engine.files->contents("/downloads/file.bin") == content(0, server.size), true);
    EXPECT_LT(furthest, 100'000'000) << "no connection writes far ahead of what is there";
    EXPECT_GT(engine.transport->transfers.size(), 8U);
}

} // namespace
} // namespace fluvane::support
