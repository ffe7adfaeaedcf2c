// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Phrases.h"
#include "FluvaneWatch/Watch.h"

#include "Support/Numbers.h"

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
    Watch watch({4_id, 3_id, 1_id, 5_id, 6_id, 9_id});
    watch.update({row(6_id, StateKind::downloading)}, 0);
    watch.update({row(1_id, StateKind::failed), row(3_id, StateKind::linkExpired), checked(4_id, false),
                  checked(5_id, true), row(7_id, StateKind::downloading)},
                 1);
    EXPECT_TRUE(watch.ended());
    EXPECT_THAT(watch.unknown(), ElementsAre(9_id));
    EXPECT_THAT(
        watch.problems(),
        ElementsAre("Download 4 is finished. Its SHA-256 doesn't match the one given, so it may not be "
                    "the file you meant to get. It's in /f; don't open it unless you know why.",
                    "The link of download 3 expired. `fluvane link 3 <link>` carries on with a fresh one.",
                    "Download 1 failed: It broke.", "Download 6 was taken off the list."));
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

TEST(Watch, FollowsWhatRunsWithoutNumbers) {
    Watch watch({});
    watch.update(
        {row(1_id, StateKind::finished), row(2_id, StateKind::retrying), row(3_id, StateKind::failed)}, 0);
    EXPECT_EQ(watch.rows().size(), 1u);
    watch.update({row(2_id, StateKind::finished), row(4_id, UnknownState{"thawing"})}, 1);
    EXPECT_EQ(watch.rows().size(), 2u);
    EXPECT_FALSE(watch.ended());
    watch.update({row(2_id, StateKind::finished), row(4_id, StateKind::finished)}, 2);
    EXPECT_TRUE(watch.allFinished());
}

TEST(Phrases, LeaveNothingForATerminalToActUpon) {
    EXPECT_EQ(printable("größe\033[2J a\u009B31mb a\r\nb\u2028c"),
              "größe\uFFFD[2J a\uFFFD31mb a\uFFFD\uFFFDb\uFFFDc");
    EXPECT_EQ(printable("a\u202Egpj.exe a\u2067b\u200B\u200Dc\U000E0041 a\xFF"),
              "a\uFFFDgpj.exe a\uFFFDb\uFFFD\uFFFDc\uFFFD a\uFFFD");
    EXPECT_EQ(printable("👩\u200D💻"), "👩\u200D💻") << "the joiner of an emoji";
}

} // namespace
} // namespace fluvane::watch
