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
        return restoring::restored(saved, restoring::movedTo(saved, files, DuplicateNaming::spaceParentheses),
                                   online, Date() + std::chrono::hours(1));
    }
    ManualScheduler scheduler;
    MemoryFileStore files{scheduler};
    DownloadRecord saved{7_id, link("http://a.example/f"), URL::folder("/downloads"), std::nullopt, Date()};
};

TEST_F(RestoringTest, WhatWasRunningIsQueuedAgain) {
    const std::pair<State, const char*> rows[] = {{State::Downloading{}, "queued"},
                                                  {State::Verifying{}, "queued"},
                                                  {State::Wait::retrying, "queued"},
                                                  {State::Wait::linkExpired, "link-expired"},
                                                  {State::Paused{}, "paused"}};
    for (const auto& [before, after] : rows) {
        saved.state = before;
        EXPECT_EQ(stateName(restored().state), after);
        EXPECT_EQ(stateName(restored(false).state), after == "queued"sv ? "offline" : after);
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
    const std::vector<Piece> rows[] = {
        {{0, 1000, 1001}},
        {{0, 999, 0}},
        {{0, 500, 0}, {501, 1000, 0}},
        {{-5, 1000, 0}},
        {{0, 1000, -1}},
        {{0, 500, 0}, {500, 400, 0}, {400, 1000, 0}},
        {{0, std::nullopt, most}, {0, std::nullopt, most}},
    };
    for (const auto& pieces : rows) {
        saved.pieces = pieces;
        EXPECT_TRUE(restored().pieces.empty()) << testing::PrintToString(&pieces - rows);
    }
    saved.size.reset();
    saved.pieces = {{0, std::nullopt, 5}};
    EXPECT_FALSE(restored().pieces.empty()) << "a stream of unknown length";
}

TEST_F(RestoringTest, AFileMovedRightBeforeTheEndIsFinished) {
    const std::string whole(1000, 'x');
    struct {
        const char* what;
        bool keepsMarks;
        std::vector<std::tuple<const char*, std::string, std::optional<Owner>>> files;
        const char* name; ///< That it was moved to, or none.
    } const rows[] = {
        {"nothing is there", true, {}, ""},
        {"moved", true, {{"f", whole, 7_id}}, "f"},
        {"moved, on a disk without marks", false, {{"f", whole, {}}}, "f"},
        {"another length", true, {{"f", whole + "y", 7_id}}, ""},
        {"somebody else's", true, {{"f", whole, {}}}, ""},
        {"another download's", true, {{"f", whole, 8_id}}, ""},
        {"moved beside somebody else's", true, {{"f", whole, {}}, {"f (1)", whole, 7_id}}, "f (1)"},
        {"not yet moved", true, {{"f", whole, {}}, {"f.fluvane", whole, 7_id}}, ""},
        {"not yet moved, without marks", false, {{"f", whole, {}}, {"f.fluvane", whole, {}}}, ""},
        {"copied", true, {{"f", whole, 7_id}, {"f.fluvane", whole, 7_id}}, "f"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        files.take("/downloads/f.fluvane");
        files.keepsMarks = row.keepsMarks;
        for (const auto& [name, bytes, owner] : row.files) {
            files.put(std::string("/downloads/") + name, bytes, owner);
        }
        saved.state = State::Downloading{};
        EXPECT_EQ(stateName(restored().state), "queued") << "no move had begun";
        saved.state = State::Finishing{};
        const auto record = restored();
        EXPECT_EQ(stateName(record.state), *row.name ? "finished" : "queued");
        if (*row.name) {
            EXPECT_EQ(record.file, URL::file(std::string("/downloads/") + row.name));
            EXPECT_EQ(record.name, row.name);
            EXPECT_EQ(record.partial, std::nullopt);
            EXPECT_EQ(record.doneBytes(), 1000);
            EXPECT_FALSE(files.exists(*saved.partial));
        }
        for (const auto& path : files.paths()) {
            files.take(path);
        }
    }
}

} // namespace
} // namespace fluvane::support
