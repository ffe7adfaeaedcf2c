// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Planner.h"

#include "Support/PiecePicture.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace fluvane;
using support::piecesFrom;

namespace {

TEST(Planner, GivesAFreeConnectionWork) {
    using planner::IdlePiece;
    using planner::Split;
    const std::tuple<const char*, const char*, planner::Busy, std::int64_t, std::optional<planner::Work>>
        rows[] = {
            {"nothing left", "####|##", {}, 1, {}},
            {"the first idle piece", "####|#-|--", {}, 1, IdlePiece{4}},
            {"a tiny idle piece before a split", "----------|-", {{0, 0}}, 1, IdlePiece{10}},
            {"the biggest busy piece", "##--|--------", {{0, 2}, {4, 4}}, 1, Split{4, 8}},
            {"where its connection has got to", "--------", {{0, 4}}, 1, Split{0, 6}},
            {"or what is written, if that is further", "####----", {{0, 1}}, 1, Split{0, 6}},
            {"just twice the minimum", "--------", {{0, 0}}, 4, Split{0, 4}},
            {"no minimum still leaves a byte each", "#-", {{0, 1}}, 0, {}},
            {"no end, no split", "--~", {{0, 0}}, 1, {}},
            {"reached its end, not yet told", "----", {{0, 4}}, 1, {}},
        };
    for (const auto& [name, picture, busy, minimum, work] : rows) {
        EXPECT_EQ(planner::nextWork(piecesFrom(picture), busy, minimum), work) << name;
    }
    const std::vector<Piece> unordered = {{20, 30, 0}, {0, 10, 0}, {10, 20, 0}};
    EXPECT_EQ(planner::nextWork(unordered, {{0, 0}}, 1), planner::Work(IdlePiece{10}));
}

} // namespace
