// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Planner.h"

#include "Support/PiecePicture.h"

#include <gmock/gmock.h>

#include <limits>

using namespace fluvane;
using support::piecesFrom;
using testing::ElementsAreArray;

namespace {

TEST(Planner, SplitsAFile) {
    struct Row {
        const char* name;
        std::int64_t size;
        int connections;
        std::int64_t minimum;
        std::vector<std::int64_t> ends;
    };
    const std::vector<std::int64_t> eighths = {12'500, 25'000, 37'500, 50'000,
                                               62'500, 65'536, 87'500, 100'000};
    const Row rows[] = {
        {"aligned", 10'000'000, 4, 1'000'000, {2'490'368, 4'980'736, 7'471'104, 10'000'000}},
        {"aligned to its own start", 100'000, 8, 12'500, eighths},
        {"empty", 0, 4, 1, {0}},
        {"negative size", -5, 4, 1, {0}},
        {"minimum beyond the size", 999, 8, 1000, {999}},
        {"minimum allows three", 3500, 8, 1000, {1166, 2333, 3500}},
        {"negative connections", 5000, -3, 1, {5000}},
        {"no minimum", 3, 8, 0, {1, 2, 3}},
    };
    for (const Row& row : rows) {
        std::vector<std::int64_t> ends;
        std::int64_t start = 0;
        for (const Piece& piece : planner::split(row.size, row.connections, row.minimum)) {
            EXPECT_EQ(piece, (Piece{start, piece.end, 0})) << row.name;
            start = *piece.end;
            ends.push_back(start);
        }
        EXPECT_THAT(ends, ElementsAreArray(row.ends)) << row.name;
    }
}

TEST(PlannerDeath, BoundaryProductOverflowEndsTheProgram) {
    EXPECT_DEATH((void)planner::split(std::numeric_limits<std::int64_t>::max(), 4, 1), "overflow");
}

TEST(Planner, GivesAFreeConnectionWork) {
    using planner::IdlePiece;
    using planner::Split;
    struct Row {
        const char* name;
        const char* picture;
        planner::Busy busy;
        std::int64_t minimum;
        std::optional<planner::Work> work;
    };
    const Row rows[] = {
        {"nothing left", "####|##", {}, 1, {}},
        {"the first idle piece", "####|#-|--", {}, 1, IdlePiece{4}},
        {"a tiny idle piece before a split", "----------|-", {{0, 0}}, 1, IdlePiece{10}},
        {"the biggest busy piece", "##--|--------", {{0, 2}, {4, 4}}, 1, Split{4, 8}},
        {"the earlier of two equals", "----|----", {{0, 0}, {4, 4}}, 1, Split{0, 2}},
        {"where its connection has got to", "--------", {{0, 4}}, 1, Split{0, 6}},
        {"or what is written, if that is further", "####----", {{0, 1}}, 1, Split{0, 6}},
        {"just under twice the minimum", "-------", {{0, 0}}, 4, {}},
        {"just twice the minimum", "--------", {{0, 0}}, 4, Split{0, 4}},
        {"no minimum still leaves a byte each", "#-", {{0, 1}}, 0, {}},
        {"no minimum, two bytes", "--", {{0, 0}}, 0, Split{0, 1}},
        {"no end, no split", "--~", {{0, 0}}, 1, {}},
        {"reached its end, not yet told", "----", {{0, 4}}, 1, {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(planner::nextWork(piecesFrom(row.picture), row.busy, row.minimum), row.work) << row.name;
    }
    const std::vector<Piece> unordered = {{20, 30, 0}, {0, 10, 0}, {10, 20, 0}};
    EXPECT_EQ(planner::nextWork(unordered, {{0, 0}}, 1), planner::Work(IdlePiece{10}));
}

TEST(Planner, AlignsASplitUnlessTheFirstHalfGetsTooSmall) {
    const auto splitAt = [](std::int64_t end, std::int64_t position, std::int64_t minimum) {
        return std::get<planner::Split>(*planner::nextWork({{0, end, 0}}, {{0, position}}, minimum)).at;
    };
    EXPECT_EQ(splitAt(2'000'000, 0, 900'000), 983'040) << "rounded down to a multiple of 64 KiB";
    EXPECT_EQ(splitAt(2'000'000, 0, 983'040), 983'040) << "exactly the minimum";
    EXPECT_EQ(splitAt(2'000'000, 0, 983'041), 1'000'000) << "a byte less than the minimum";
    EXPECT_EQ(splitAt(131'100, 65'530, 1), 65'536) << "six bytes past the position";
    EXPECT_EQ(splitAt(131'000, 65'536, 0), 98'268) << "not past the position";
}

} // namespace
