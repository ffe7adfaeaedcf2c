// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayMenu.h"
#include "Fluvane/UI/Models/TrayStatus.h"
#include "Fluvane/UI/Tray/StatusIcon.h"
#include "Support/Rows.h"
#include "Support/Windows/WindowBench.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <map>
#include <numeric>

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
    download.record.checksumResult = ChecksumResult{ChecksumResult::Differs{"00"}};
    return download;
}

std::vector<bool> shapeOf(const TrayStatus& status) {
    const auto image = statusImage(status, 16, Panel::dark);
    std::vector<bool> shape;
    for (int at = 0; at < 16 * 16; ++at) {
        shape.push_back(qAlpha(image.pixel(at % 16, at / 16)) > 160);
    }
    return shape;
}

} // namespace

TEST(TrayStatus, TellsTheListAtAGlance) {
    struct Row {
        const char* name;
        std::function<void(List&)> fill;
        Kind kind;
        std::optional<double> progress;
        std::string toolTip;
    };
    const Row rows[] = {
        {"empty", [](List&) {}, Kind::idle, {}, "No downloads are running"},
        {"done", [](List& list) { list.add(State::Finished{}); }, Kind::idle, {}, "No downloads are running"},
        {"running",
         [](List& list) {
             list.add(State::Downloading{}, 3000 * mb, 1000 * mb, 7e6);
             list.add(State::Downloading{}, 1000 * mb, 1000 * mb - 160 * mb, 5e6);
             list.add(State::Paused{}, 500 * mb, 0);
         },
         Kind::running, 0.46, "2 downloads, 12 MB/s, about 3 minutes left"},
        {"of unknown size", [](List& list) { list.add(State::Downloading{}, {}, 5 * mb, 1e6); },
         Kind::running, std::nullopt, "1 download, 1 MB/s"},
        {"of sizes that no sum holds",
         [](List& list) {
             list.add(State::Downloading{}, most, 0, 1e6);
             list.add(State::Downloading{}, most, most, 1e6);
         },
         Kind::running, 0.5, "2 downloads, 2 MB/s, more than a year left"},
        {"starting", [](List& list) { list.add(State::Starting{}); }, Kind::running, {}, "1 download"},
        {"checking", [](List& list) { list.add(State::Verifying{}, 10, 10); }, Kind::running, 1,
         "1 download"},
        {"paused", [](List& list) { list.add(State::Paused{}); }, Kind::paused, {}, "1 download is paused"},
        {"offline",
         [](List& list) {
             list.add(State::Queued{});
             list.add(Wait::offline);
             list.add(Wait::offline);
         },
         Kind::waiting,
         {},
         "2 downloads carry on when you're back online"},
        {"hotspot",
         [](List& list) { list.add(Wait::limitedNetwork); },
         Kind::waiting,
         {},
         "1 download waits for another network"},
        {"between tries",
         [](List& list) { list.add(Wait::retrying); },
         Kind::waiting,
         {},
         "1 download tries again in a moment"},
    };
    for (const auto& row : rows) {
        List list;
        row.fill(list);
        const auto status = trayStatus(list.all(), {});
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
    const auto status = [&] { return trayStatus(list.all(), problems.follow(list.all())); };

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
    support::expectRows(
        support::Rows<std::string, QString>{{"a_b&c.iso", "a_b&&c.iso"}, {"R&D & co", "R&&D && co"}},
        [](const std::string& name) { return menuLabel(QString::fromStdString(name), MenuDrawer::qt); });
    support::expectRows(
        support::Rows<std::string, QString>{
            {"a_b&c.iso", "a b&&c.iso"}, {"a_b__c.iso", "a__b____c.iso"}, {"R&D & co", "R&&D & co"}},
        [](const std::string& name) { return menuLabel(QString::fromStdString(name), MenuDrawer::panel); });
}

TEST(StatusIcon, EveryStatusHasAShapeOfItsOwn) {
    const std::map<std::string, TrayStatus> all = {
        {"idle", {Kind::idle, false, {}, {}}},
        {"begun", {Kind::running, true, 0.1, {}}},
        {"half", {Kind::running, true, 0.5, {}}},
        {"running", {Kind::running, true, {}, {}}},
        {"paused", {Kind::paused, false, {}, {}}},
        {"waiting", {Kind::waiting, false, {}, {}}},
        {"attention", {Kind::needsAttention, false, {}, {}}},
        {"attention meanwhile", {Kind::needsAttention, true, 0.5, {}}},
    };
    for (const auto& [name, status] : all) {
        for (const auto& [otherName, other] : all) {
            if (name < otherName) {
                const auto one = shapeOf(status);
                const auto two = shapeOf(other);
                const auto differing = std::inner_product(one.begin(), one.end(), two.begin(), 0,
                                                          std::plus<>(), std::not_equal_to<>());
                EXPECT_GE(differing, 8) << name << " and " << otherName;
                EXPECT_FALSE(looksAlike(status, other)) << name << " and " << otherName;
            }
        }
    }
    EXPECT_TRUE(looksAlike({Kind::running, true, 0.5, "a"}, {Kind::running, true, 0.505, "b"}));
}

} // namespace fluvane
