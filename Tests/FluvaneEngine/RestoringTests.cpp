// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Restoring.h"

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

using namespace std::string_view_literals;
using State = DownloadState;

class RestoringTest : public testing::Test {
protected:
    RestoringTest() {
        saved.size = 1000;
        saved.resumable = true;
        saved.name = "f";
        saved.partial = URL::file("/downloads/f.fluvane");
        saved.pieces = {{0, 400, 400}, {400, 1000, 600}};
        files.put("/downloads/f.fluvane", std::string(1000, 'x'));
    }
    DownloadRecord restored(bool online = true) {
        return restoring::restored(saved, restoring::wasMoved(saved, files), online,
                                   Date() + std::chrono::hours(1));
    }
    ManualScheduler scheduler;
    MemoryFileStore files{scheduler};
    DownloadRecord saved{7_id, link("http://a.example/f"), URL::folder("/downloads"), std::nullopt, Date()};
};

TEST_F(RestoringTest, WhatWasRunningIsQueuedAgain) {
    const std::pair<State, const char*> rows[] = {
        {State::Queued{}, "queued"},
        {State::Downloading{}, "queued"},
        {State::Verifying{}, "queued"},
        {State::Wait::retrying, "queued"},
        {State::Wait::linkExpired, "link-expired"},
        {State::Paused{}, "paused"},
        {State::Finished{}, "finished"},
        {State::Failed{"Why."}, "failed"},
    };
    for (const std::string_view queued : {"queued", "offline"}) {
        for (const auto& [before, after] : rows) {
            saved.state = before;
            EXPECT_EQ(stateName(restored(queued == "queued").state), after == "queued"sv ? queued : after);
            EXPECT_EQ(restored().pieces, saved.pieces);
        }
    }
}

TEST_F(RestoringTest, ANameThatDeceivesIsCleanedWhileTheFileIsYetToGetIt) {
    saved.name = "a\u202Egpj.exe";
    EXPECT_EQ(restored().name, "agpj.exe");
    saved.file = URL::file("/downloads/f");
    EXPECT_EQ(restored().name, saved.name);
}

TEST_F(RestoringTest, PiecesThatMakeNoSenseAreDropped) {
    const auto most = std::numeric_limits<std::int64_t>::max();
    const std::pair<const char*, std::vector<Piece>> rows[] = {
        {"more done than there is", {{0, 1000, 1001}}},
        {"a hole at the end", {{0, 999, 0}}},
        {"a hole between", {{0, 500, 0}, {501, 1000, 0}}},
        {"negative", {{-5, 1000, 0}}},
        {"negative done", {{0, 1000, -1}}},
        {"backwards", {{0, 500, 0}, {500, 400, 0}, {400, 1000, 0}}},
        {"without an end", {{0, std::nullopt, 5}}},
        {"endless sums", {{0, std::nullopt, most}, {0, std::nullopt, most}}},
    };
    for (const auto& [name, pieces] : rows) {
        saved.pieces = pieces;
        EXPECT_TRUE(restored().pieces.empty()) << name;
    }
    saved.size.reset();
    saved.pieces = {{0, std::nullopt, 5}};
    EXPECT_FALSE(restored().pieces.empty()) << "a stream of unknown length";
}

TEST_F(RestoringTest, AFileMovedRightBeforeTheEndIsFinished) {
    saved.state = State::Finishing{};
    files.remove(*saved.partial);
    EXPECT_EQ(stateName(restored().state), "queued") << "neither file is there";
    files.put("/downloads/f", std::string(999, 'y'));
    EXPECT_EQ(stateName(restored().state), "queued") << "another file has the name";
    files.put("/downloads/f", std::string(1000, 'x'));
    const auto record = restored();
    EXPECT_EQ(stateName(record.state), "finished");
    EXPECT_EQ(record.file, URL::file("/downloads/f"));
    EXPECT_EQ(record.partial, std::nullopt);
    EXPECT_EQ(record.completed, Date() + std::chrono::hours(1));
    EXPECT_EQ(record.doneBytes(), 1000);
    files.put(saved.partial->path(), std::string(1000, 'x'));
    EXPECT_EQ(stateName(restored().state), "queued") << "it wasn't moved";
    files.remove(*saved.partial);
    saved.state = State::Downloading{};
    EXPECT_EQ(stateName(restored().state), "queued") << "no move had begun";
}

} // namespace
} // namespace fluvane::support
