// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Planner.h"

#include "Support/PiecePicture.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace fluvane;
using support::piecesFrom;

namespace {

TEST(Planner, SplitsAFile) {
    const std::tuple<std::int64_t, int, std::int64_t, std::vector<std::int64_t>> rows[] = {
        {10'000'000, 4, 1'000'000, {2'490'368, 4'980'736, 7'471'104, 10'000'000}},
        {0, 4, 1, {0}},
        {3500, 8, 1000, {1166, 2333, 3500}},
    };
    for (const auto& [size, connections, minimum, expected] : rows) {
        std::vector<std::int64_t> ends;
        std::int64_t start = 0;
        for (const Piece& piece : planner::split(size, connections, minimum)) {
            EXPECT_EQ(piece, (Piece{start, piece.end, 0})) << size;
            start = *piece.end;
            ends.push_back(start);
        }
        EXPECT_EQ(ends, expected);
    }
}

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
