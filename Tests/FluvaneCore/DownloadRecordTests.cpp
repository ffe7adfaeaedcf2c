// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DownloadRecord.h"

#include "FluvaneCore/StateName.h"
#include "Support/PiecePicture.h"

#include <gtest/gtest.h>

using namespace fluvane;
using S = DownloadState;
using support::piecesFrom;

namespace {

static_assert(!std::is_constructible_v<S, std::string>, "a bare text is no failure");
static_assert(!std::is_constructible_v<S, int>);

DownloadRecord record() {
    return {DownloadID{7}, *URL::parse("https://files.test/a/disc.iso?x=1"), URL::folder("/tmp/in"),
            std::nullopt, Date()};
}

TEST(DownloadState, SaysWhatItNeeds) {
    struct Row {
        S state;
        std::string_view name;
        bool active, network, done, runs, attention;
    };
    const Row rows[] = {
        {S::Queued{}, "queued", false, false, false, false, false},
        {S::Starting{}, "starting", true, true, false, true, false},
        {S::Downloading{}, "downloading", true, true, false, true, false},
        {S::Paused{}, "paused", false, false, false, false, false},
        {S::Wait::offline, "offline", false, false, false, false, false},
        {S::Wait::retrying, "retrying", true, true, false, false, false},
        {S::Wait::linkExpired, "link-expired", false, false, false, false, true},
        {S::Wait::limitedNetwork, "limited-network", false, false, false, false, false},
        {S::Verifying{}, "verifying", true, false, false, true, false},
        {S::Finishing{}, "finishing", true, false, false, true, false},
        {S::Finished{}, "finished", false, false, true, false, false},
        {S::Failed{"Gone."}, "failed", false, false, true, false, true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(stateName(row.state), row.name);
        EXPECT_EQ(stateNamed(row.name), row.state.kind()) << row.name;
        EXPECT_EQ(row.state.isActive(), row.active) << row.name;
        EXPECT_EQ(row.state.usesNetwork(), row.network) << row.name;
        EXPECT_EQ(row.state.isDone(), row.done) << row.name;
        EXPECT_EQ(runs(row.state.kind()), row.runs) << row.name;
        EXPECT_EQ(needsAttention(row.state.kind()), row.attention) << row.name;
    }
    EXPECT_EQ(stateNamed("waiting"), std::nullopt);
    EXPECT_NE(S(S::Failed{"a"}), S(S::Failed{"b"}));
    EXPECT_NE(S(S::Wait::offline), S(S::Wait::retrying));
}

TEST(DownloadRecord, KnowsItsFraction) {
    struct Row {
        const char* name;
        S state;
        std::optional<std::int64_t> size;
        const char* pieces;
        std::optional<double> fraction;
    };
    const Row rows[] = {
        {"size unknown", S::Downloading{}, {}, "##~", {}},
        {"finished without a size", S::Finished{}, {}, "##", 1.0},
        {"empty file", S::Downloading{}, 0, "", 1.0},
        {"negative size", S::Downloading{}, -1, "#", {}},
        {"part of it", S::Paused{}, 8, "##--|----", 0.25},
        {"more than its size", S::Paused{}, 2, "####", 1.0},
        {"no pieces yet", S::Queued{}, 8, "", 0.0},
    };
    for (const Row& row : rows) {
        DownloadRecord subject = record();
        subject.state = row.state;
        subject.size = row.size;
        subject.pieces = piecesFrom(row.pieces);
        EXPECT_EQ(subject.fraction(), row.fraction) << row.name;
    }
}

TEST(DownloadRecord, HasANameAndAPlaceInLine) {
    DownloadRecord subject = record();
    subject.finalURL = URL::parse("https://other.test/elsewhere.bin");
    EXPECT_EQ(subject.displayName(), "disc.iso");
    subject.name = "";
    EXPECT_EQ(subject.displayName(), "");
    EXPECT_EQ(subject.queueKey(), 7);
    subject.queueOrder = 0;
    EXPECT_EQ(subject.queueKey(), 0);
}

} // namespace
