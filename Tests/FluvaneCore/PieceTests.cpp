// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Piece.h"

#include <gtest/gtest.h>

#include <limits>

using namespace fluvane;

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

TEST(Piece, KnowsWhatIsLeftAndKeepsDoneWithinItsLength) {
    EXPECT_EQ((Piece{100, 200, 130}.remaining()), 0) << "written past its end";
    EXPECT_EQ((Piece{100, 200, 30}.remaining()), 70);
    EXPECT_FALSE(allComplete({}));
    Piece bounded{100, 200, 0};
    for (const auto& [given, kept] : {std::pair{100, 100}, {101, 100}, {-1, 0}}) {
        bounded.setDone(given);
        EXPECT_EQ(bounded.done, kept) << given;
    }
}

TEST(PieceDeath, OverflowEndsTheProgram) {
    EXPECT_DEATH((void)(Piece{most, {}, 1}.next()), "overflow");
    EXPECT_DEATH((void)doneBytes({Piece{0, {}, most}, Piece{0, {}, 1}}), "overflow");
}

} // namespace
