// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What the inspector shows, without a window.

#include "Fluvane/UI/Models/PiecesPicture.h"
#include "Fluvane/UI/Models/SelectionTotals.h"
#include "Fluvane/UI/Models/SpeedHistory.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/RuleWords.h"
#include "Support/PiecePicture.h"
#include "Support/Rows.h"
#include "Support/Windows/WindowBench.h"

#include <gtest/gtest.h>

#include <limits>

namespace fluvane::support {

namespace {

/// "#" there, "+" in part, "-" nothing; a column of connection 1 is "1" when it all came over it, "A" when a
/// part did, "a" when nothing has, "*" when what is there was there before. "|" stands before a border.
std::string drawn(const PiecesPicture& picture) {
    std::string text = picture.openEnded ? "~" : "";
    for (std::size_t i = 0; i < picture.columns.size(); ++i) {
        const auto& column = picture.columns[i];
        const bool border = std::ranges::find(picture.borders, static_cast<int>(i)) != picture.borders.end();
        const char letter = static_cast<char>('a' + column.connection - 1);
        text += border ? "|" : "";
        text += column.connection == 0 ? (column.filled == 1  ? '#'
                                          : column.filled > 0 ? '+'
                                                              : '-')
                : column.filled == 0   ? letter
                : !column.arrived      ? '*'
                : column.filled == 1   ? static_cast<char>('0' + column.connection)
                                       : static_cast<char>(letter - 'a' + 'A');
    }
    return text;
}

constexpr std::int64_t huge = std::int64_t{1} << 56;

struct Bar {
    const char* name;
    std::vector<Piece> pieces;
    std::optional<std::int64_t> size;
    std::vector<RunningConnection> connections;
    int columns;
    std::string expected;
};

} // namespace

TEST(PiecesPicture, drawsFilesOfEverySize) {
    const std::vector<Bar> bars = {
        {"nothing is known yet", {}, {}, {}, 4, "----"},
        {"pieces at rest", piecesFrom("####----|####----"), 16, {}, 16, "####----|####----"},
        {"a column of two pieces", piecesFrom("#|-"), 2, {}, 1, "+"},
        {"who brings what, beside what was there before",
         piecesFrom("####----|####----"),
         16,
         {{.number = 1, .start = 0, .end = 8, .from = 2, .reached = 4, .flows = true},
          {.number = 2, .start = 8, .end = 16, .from = 8, .reached = 13, .flows = true}},
         16,
         "**11aaaa|22222bbb"},
        {"a connection within a column",
         piecesFrom("#-------"),
         8,
         {{.number = 1, .start = 0, .end = 8, .from = 0, .reached = 1}},
         1,
         "A"},
        {"an empty file", {Piece{0, 0, 0}}, 0, {}, 3, "###"},
        {"a byte is missing of very many", {Piece{0, huge, huge - 1}}, huge, {}, 8, "#######+"},
        {"the last offsets there are",
         {Piece{0, std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::max()}},
         std::numeric_limits<std::int64_t>::max(),
         {},
         4,
         "####"},
        {"a tiny piece stands out by its connection",
         piecesFrom(repeated("#|", 999) + "-", 100),
         100'000,
         {{.number = 1, .start = 99'900, .end = 100'000, .from = 99'900, .reached = 99'900}},
         4,
         "###*"},
        {"no known end",
         piecesFrom("##~"),
         {},
         {{.number = 3, .start = 0, .end = {}, .from = 0, .reached = 2, .flows = true}},
         3,
         "~333"},
        {"a size that can't be", piecesFrom("##~"), -5, {}, 2, "~##"},
    };
    for (const auto& bar : bars) {
        const auto picture = PiecesPicture::make(bar.pieces, bar.size, bar.connections, bar.columns);
        EXPECT_EQ(drawn(picture), bar.expected) << bar.name;
    }
}

TEST(PiecesPicture, knowsThePieceUnderAColumnAndWhereConnectionsAre) {
    const auto picture = PiecesPicture::make(piecesFrom("####----|----"), 12,
                                             {{.number = 2, .start = 8, .end = 12, .from = 8, .reached = 8},
                                              {.number = 1, .start = 0, .end = 8, .from = 0, .reached = 4}},
                                             12);
    EXPECT_EQ(picture.columns[7].piece, 0U);
    EXPECT_EQ(picture.columns[8].piece, 1U);
    const std::vector<PiecesPicture::Head> heads = {{1, 4}, {2, 8}};
    EXPECT_EQ(picture.heads, heads);
}

TEST(RunningConnections, keepTheirNumbersAndMeasureTheirSpeeds) {
    Config config;
    config.connections = 2;
    Engine engine(config);
    engine.manager->start();
    const auto id = engine.add("http://a.example/file.bin");
    engine.turns();
    engine.transport->transfers[0]->respondPart(10'000'000);
    engine.turns();
    engine.transport->transfers[1]->respondPart(10'000'000);
    engine.turns();
    RunningConnections connections;
    const Download& download = *engine.manager->download(id);
    connections.look(download, 0);
    ASSERT_EQ(connections.list().size(), 2U);
    EXPECT_EQ(connections.list()[1].start, connections.list()[1].reached);

    engine.transport->transfers[0]->send(200'000);
    engine.transport->transfers[1]->sendQuietly(300'000);
    connections.look(download, 0.5);
    EXPECT_DOUBLE_EQ(connections.list()[0].speed, 400'000);
    EXPECT_DOUBLE_EQ(connections.list()[1].speed, 600'000) << "also between two reports";

    // The first ends; what takes its place gets its number, and the second keeps its own.
    engine.transport->transfers[0]->fail("gone");
    connections.look(download, 1);
    ASSERT_EQ(connections.list().size(), 1U);
    EXPECT_EQ(connections.list()[0].number, 2);
    engine.scheduler.runFor(2);
    connections.look(download, 3);
    ASSERT_EQ(connections.list().size(), 2U);
    EXPECT_EQ(connections.list()[0].number, 1);
    EXPECT_EQ(connections.list()[0].speed, 0);
    EXPECT_GT(connections.list()[1].speed, 0);
}

TEST(SpeedHistory, keepsASampleASecondOfWhatRuns) {
    Config config;
    config.connections = 2;
    WindowBench bench(config);
    auto& scheduler = bench.engine.scheduler;
    FakeServer server(*bench.engine.transport, scheduler);
    server.size = 50'000'000;
    server.bytesPerSecond = 20'000;
    const SpeedHistory history(*bench.engine.manager, bench.feed, [&] { return scheduler.now(); });
    const auto run = [&](double seconds) {
        for (double passed = 0; passed < seconds; passed += 0.25) {
            scheduler.runFor(0.25);
            Q_EMIT bench.feed.changed();
        }
    };
    bench.engine.manager->start();
    const auto id = bench.engine.add("http://a.example/file.bin");
    run(10);
    ASSERT_EQ(history.samples(id).size(), 10U);
    EXPECT_NEAR(history.samples(id).back().speed, 40'000, 4'000);
    run(SpeedHistory::length + 100);
    EXPECT_NEAR(static_cast<double>(history.samples(id).size()), SpeedHistory::length, 2);
    bench.engine.manager->pause(id);
    run(SpeedHistory::length / 2);
    EXPECT_NEAR(static_cast<double>(history.samples(id).size()), SpeedHistory::length / 2, 2);
    run(SpeedHistory::length / 2 + 2);
    EXPECT_TRUE(history.samples(id).empty()) << "too long ago";
    bench.engine.manager->resume(id);
    run(5);
    EXPECT_FALSE(history.samples(id).empty());
    bench.engine.manager->remove(id);
    run(1);
    EXPECT_TRUE(history.samples(id).empty());
}

TEST(SelectionTotals, stopAtTheBiggestNumber) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    WindowBench bench;
    auto& saved = bench.engine.store->saved;
    for (std::int64_t id = 1; id <= 3; ++id) {
        saved.push_back(savedRecord(id, "http://a.example/f", DownloadState::Paused{}));
        saved.back().size = id == 3 ? std::nullopt : std::optional(most - 1);
    }
    bench.engine.manager->start();
    const auto totals = SelectionTotals::of(*bench.engine.manager, {1_id, 2_id, 3_id, 99_id});
    EXPECT_EQ(totals.count, 3);
    EXPECT_EQ(totals.size, most);
    EXPECT_EQ(totals.unknownSizes, 1);
}

TEST(DetailWords, groupsDigitsAndJoinsEndings) {
    EXPECT_EQ(words::exactBytes(1'234'567), "1,234,567 bytes");
    EXPECT_EQ(words::exactBytes(999), "999 bytes");
    EXPECT_EQ(words::together({0, 0, 2}), "2 whose size isn't known yet");
    EXPECT_EQ(words::rule({"1", Rule::Extensions{{"zip", "rar", "7z"}}, {}, {}}),
              "Files ending in .zip, .rar or .7z");
}

} // namespace fluvane::support
