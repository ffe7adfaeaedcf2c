// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayMenu.h"
#include "Fluvane/UI/Models/TrayStatus.h"
#include "Fluvane/UI/Tray/StatusIcon.h"
#include "Support/Windows/WindowBench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <limits>

namespace fluvane {

namespace {

using State = DownloadState;
using Wait = DownloadState::Wait;
using Kind = TrayStatus::Kind;

constexpr std::int64_t mb = 1'000'000;
constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

/// A list of downloads that nothing runs.
class List {
public:
    Download& add(State state, std::optional<std::int64_t> size = {}, std::int64_t done = 0,
                  double speed = 0) {
        auto record = support::savedRecord(static_cast<std::int64_t>(downloads_.size()) + 1,
                                           "http://a.example/file.bin", std::move(state));
        record.size = size;
        record.pieces = {Piece(0, size)};
        record.pieces.front().setDone(done);
        auto& download = downloads_.emplace_back(std::move(record));
        download.meter.smoothed = speed;
        if (speed > 0) {
            download.secondsLeft = 1;
        }
        return download;
    }
    [[nodiscard]] std::vector<const Download*> all() const {
        std::vector<const Download*> all;
        std::ranges::transform(downloads_, std::back_inserter(all),
                               [](const auto& download) { return &download; });
        return all;
    }

private:
    std::deque<Download> downloads_;
};

Download& mismatched(Download& download) {
    download.record.checksum = Checksum::recognise(std::string(32, 'a'));
    download.record.checksumResult = ChecksumResult{ChecksumResult::Differs{"00"}};
    return download;
}

} // namespace

TEST(TrayStatus, TellsTheListAtAGlance) {
    struct Entry {
        State state;
        std::optional<std::int64_t> size{};
        std::int64_t done = 0;
        double speed = 0;
    };
    const struct {
        const char* name;
        std::vector<Entry> list;
        Kind kind;
        std::optional<double> progress;
        std::string toolTip;
    } rows[] = {
        {"empty", {}, Kind::idle, {}, "No downloads are running"},
        {"done", {{State::Finished{}}}, Kind::idle, {}, "No downloads are running"},
        {"running",
         {{State::Downloading{}, 3000 * mb, 1000 * mb, 7e6},
          {State::Downloading{}, 1000 * mb, 1000 * mb - 160 * mb, 5e6},
          {State::Paused{}, 500 * mb, 0}},
         Kind::running,
         0.46,
         "2 downloads, 12 MB/s, about 3 minutes left"},
        {"of unknown size",
         {{State::Downloading{}, {}, 5 * mb, 1e6}},
         Kind::running,
         std::nullopt,
         "1 download, 1 MB/s"},
        {"of sizes that no sum holds",
         {{State::Downloading{}, most, 0, 1e6}, {State::Downloading{}, most, most, 1e6}},
         Kind::running,
         0.5,
         "2 downloads, 2 MB/s, more than a year left"},
        {"checking", {{State::Verifying{}, 10, 10}}, Kind::running, 1, "1 download"},
        {"paused", {{State::Paused{}}}, Kind::paused, {}, "1 download is paused"},
        {"offline",
         {{State::Queued{}}, {Wait::offline}, {Wait::offline}},
         Kind::waiting,
         {},
         "2 downloads carry on when you're back online"},
        {"between tries", {{Wait::retrying}}, Kind::waiting, {}, "1 download tries again in a moment"},
    };
    for (const auto& row : rows) {
        List list;
        for (const auto& [state, size, done, speed] : row.list) {
            list.add(state, size, done, speed);
        }
        const auto status = trayStatus({.downloads = list.all(), .problems = {}});
        EXPECT_EQ(status.kind, row.kind) << row.name;
        EXPECT_EQ(status.toolTip, row.toolTip) << row.name;
        ASSERT_EQ(status.progress.has_value(), row.progress.has_value()) << row.name;
        EXPECT_NEAR(status.progress.value_or(0), row.progress.value_or(0), 1e-9) << row.name;
    }
}

TEST(TrayStatus, AsksForAttentionUntilTheListWasSeen) {
    const Date start = Date() + std::chrono::hours(1);
    TrayProblems problems(start);
    List list;
    list.add(State::Failed{"No."}); // an earlier run's
    mismatched(list.add(State::Finished{}));
    list.add(Wait::linkExpired);
    auto& running = list.add(State::Downloading{}, 10 * mb, 5 * mb, 1e6);
    const auto status = [&] {
        return trayStatus({.downloads = list.all(), .problems = problems.follow(list.all())});
    };

    EXPECT_EQ(status().toolTip, "1 download needs a fresh link; 1 download, 1 MB/s, a few seconds left");
    EXPECT_EQ(status().kind, Kind::needsAttention);
    EXPECT_TRUE(status().isRunning);
    problems.seen();
    EXPECT_EQ(status().kind, Kind::running);

    running.record.state = State::Failed{"The disk is full."};
    EXPECT_EQ(status().toolTip, "1 download failed");
    mismatched(list.add(State::Finished{})).record.added = start;
    EXPECT_EQ(status().toolTip, "2 downloads need attention");
    problems.seen();
    EXPECT_EQ(status().toolTip, "1 download needs a fresh link");
    EXPECT_EQ(status().kind, Kind::waiting);

    running.record.state = State::Downloading{};
    EXPECT_EQ(status().kind, Kind::running);
    running.record.state = State::Failed{"The disk is full."};
    EXPECT_EQ(status().kind, Kind::needsAttention) << "once more";
}

TEST(TrayStatus, LabelsShowNamesAsTheyAre) {
    const std::tuple<QString, QString, QString> rows[] = {
        {"a_b&c.iso", "a_b&&c.iso", "a b&&c.iso"},
        {"a_b__c.iso", "a_b__c.iso", "a__b____c.iso"},
        {"R&D & co", "R&&D && co", "R&&D & co"},
    };
    for (const auto& [name, menu, panel] : rows) {
        EXPECT_EQ(menuLabel(name, MenuDrawer::qt), menu);
        EXPECT_EQ(menuLabel(name, MenuDrawer::panel), panel);
    }
}

TEST(StatusIcon, IsDrawnAnewForWhatCanBeSeen) {
    const TrayStatus half{Kind::running, true, 0.5, "a"};
    EXPECT_TRUE(looksAlike(half, {Kind::running, true, 0.505, "b"}));
    const TrayStatus others[] = {
        {Kind::running, true, 0.6, {}},
        {Kind::running, true, {}, {}},
        {Kind::waiting, false, {}, {}},
        {Kind::needsAttention, true, 0.5, {}},
    };
    for (const auto& other : others) {
        EXPECT_FALSE(looksAlike(half, other));
    }
}

} // namespace fluvane
