// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Piece.h"

#include <gtest/gtest.h>

#include <limits>

using namespace fluvane;

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

TEST(PieceDeath, OverflowEndsTheProgram) {
    EXPECT_DEATH((void)(Piece{most, {}, 1}.next()), "overflow");
    EXPECT_DEATH((void)doneBytes({Piece{0, {}, most}, Piece{0, {}, 1}}), "overflow");
}

} // namespace
