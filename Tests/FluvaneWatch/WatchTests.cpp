// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Phrases.h"
#include "FluvaneWatch/Watch.h"

#include "Support/Numbers.h"
#include "Support/Rows.h"

#include <gmock/gmock.h>

namespace fluvane::watch {
namespace {

using namespace support;

using testing::ElementsAre;

Row row(DownloadID id, RowState state) {
    return {.id = DownloadID{id},
            .name = "file",
            .state = std::move(state),
            .reason = "It broke.",
            .downloaded = 1,
            .size = 4};
}

Row checked(DownloadID id, std::optional<bool> matches) {
    auto done = row(id, StateKind::finished);
    done.checksum = "sha256:00";
    done.checksumMatches = matches;
    done.file = "/f/file";
    return done;
}

TEST(Watch, TellsWhatWentWrong) {
    Watch watch({1_id, 2_id, 3_id, 4_id, 5_id, 6_id});
    watch.update({row(6_id, StateKind::downloading)}, 0);
    watch.update({row(1_id, StateKind::failed), row(2_id, StateKind::paused),
                  row(3_id, StateKind::linkExpired), checked(4_id, false), checked(5_id, true)},
                 1);
    EXPECT_TRUE(watch.ended());
    EXPECT_THAT(
        watch.problems(),
        ElementsAre("Download 1 failed: It broke.",
                    "Download 2 is paused. `fluvane resume 2` carries on with it.",
                    "The link of download 3 expired. `fluvane link 3 <link>` carries on with a fresh one.",
                    "Download 4 is finished. Its SHA-256 doesn't match the one given, so it may not be "
                    "the file you meant to get. It's in /f; don't open it unless you know why.",
                    "Download 6 was taken off the list."));
}

TEST(Watch, WaitsForACheckAsLongAsReadingTakes) {
    Watch watch({1_id});
    watch.update({checked(1_id, std::nullopt)}, 100);
    watch.update({checked(1_id, std::nullopt)}, 105);
    EXPECT_FALSE(watch.ended());
    watch.update({checked(1_id, std::nullopt)}, 111);
    EXPECT_TRUE(watch.ended());
    EXPECT_FALSE(watch.allFinished());
    EXPECT_THAT(watch.problems(), ElementsAre("The SHA-256 of download 1 couldn't be checked."));
    watch.update({checked(1_id, true)}, 112);
    EXPECT_TRUE(watch.allFinished());
}

TEST(Watch, ChoosesByNumber) {
    Watch watch({5_id, 2_id, 9_id});
    watch.update(
        {row(2_id, StateKind::queued), row(4_id, StateKind::downloading), row(5_id, StateKind::paused)}, 0);
    EXPECT_THAT(watch.unknown(), ElementsAre(9_id));
    ASSERT_EQ(watch.rows().size(), 2u);
    EXPECT_EQ(watch.rows()[0].id, 5_id);
    EXPECT_EQ(watch.rows()[1].id, 2_id);
}

TEST(Watch, FollowsWhatRunsWithoutNumbers) {
    Watch watch({});
    watch.update(
        {row(1_id, StateKind::finished), row(2_id, StateKind::retrying), row(3_id, StateKind::failed)}, 0);
    EXPECT_EQ(watch.rows().size(), 1u);
    EXPECT_FALSE(watch.ended());
    watch.update(
        {row(1_id, StateKind::finished), row(2_id, StateKind::finished), row(4_id, UnknownState{"thawing"})},
        1);
    EXPECT_EQ(watch.rows().size(), 2u);
    EXPECT_FALSE(watch.ended());
    watch.update({row(2_id, StateKind::finished), row(4_id, StateKind::finished)}, 2);
    EXPECT_TRUE(watch.ended());
    EXPECT_TRUE(watch.allFinished());
}

TEST(Phrases, LeaveNothingForATerminalToActUpon) {
    const NamedRows<std::string_view, std::string_view> rows = {
        {"escape", "größe\033[2J", "größe\uFFFD[2J"},
        {"C1", "a\u009B31mb", "a\uFFFD31mb"},
        {"line ends", "a\r\nb\u2028c", "a\uFFFD\uFFFDb\uFFFDc"},
        {"override", "a\u202Egpj.exe", "a\uFFFDgpj.exe"},
        {"invisible", "a\u2067b\u200B\u200Dc\U000E0041", "a\uFFFDb\uFFFD\uFFFDc\uFFFD"},
        {"broken UTF-8", "a\xFF.b", "a\uFFFD.b"},
        {"joiner of emoji", "👩\u200D💻", "👩\u200D💻"},
    };
    expectRows(rows, printable);
}

TEST(Phrases, PlainLines) {
    auto running = row(3_id, StateKind::downloading);
    running.downloaded = 500'000;
    running.size = 2'000'000;
    running.connections = 2;
    EXPECT_EQ(plainLine(running), "3 file: Downloading, 25 %, 500 KB of 2 MB, 0 bytes/s, 2 connections");
    auto done = checked(4_id, true);
    done.file = "/f/\ttab";
    EXPECT_TRUE(plainLine(done).ends_with(", 4 bytes, SHA-256 matches, /f/\uFFFDtab")) << plainLine(done);
}

} // namespace
} // namespace fluvane::watch
