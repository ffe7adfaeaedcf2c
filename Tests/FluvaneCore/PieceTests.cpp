// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Piece.h"

#include "Support/PiecePicture.h"

#include <gtest/gtest.h>

#include <limits>

using namespace fluvane;
using support::piecesFrom;

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

TEST(Piece, KnowsWhatIsLeftAndKeepsDoneWithinItsLength) {
    EXPECT_EQ((Piece{100, 200, 130}.remaining()), 0) << "written past its end";
    EXPECT_EQ((Piece{100, 200, 30}.remaining()), 70);
    Piece bounded{100, 200, 0};
    for (const auto& [given, kept] : {std::pair{100, 100}, {101, 100}, {-1, 0}}) {
        bounded.setDone(given);
        EXPECT_EQ(bounded.done, kept) << given;
    }
}

TEST(Piece, ListsAreCompleteWhenAllOfThemAre) {
    EXPECT_FALSE(allComplete({}));
    EXPECT_TRUE(allComplete(piecesFrom("####|##")));
    EXPECT_FALSE(allComplete(piecesFrom("####|#-")));
    EXPECT_FALSE(allComplete(piecesFrom("####|##~"))) << "without an end there is always more";
    EXPECT_EQ(doneBytes(piecesFrom("##--|###|----")), 5);
    EXPECT_EQ(indexStarting(piecesFrom("##|--|#"), 2), 1U);
}

TEST(PieceDeath, OverflowEndsTheProgram) {
    EXPECT_DEATH((void)(Piece{most, {}, 1}.next()), "overflow");
    EXPECT_DEATH((void)doneBytes({Piece{0, {}, most}, Piece{0, {}, 1}}), "overflow");
}

} // namespace
