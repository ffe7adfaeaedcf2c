// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Speed.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace fluvane;

namespace {

constexpr int often = std::numeric_limits<int>::max();

TEST(SpeedMeter, StartsAtTheFirstMeasurementAndSmooths) {
    SpeedMeter meter;
    meter.add(0, 0);
    EXPECT_EQ(meter.bytesPerSecond(), 0);
    struct Row {
        const char* name;
        std::int64_t total;
        double at, speed;
    };
    const Row rows[] = {
        {"the first second", 1000, 1, 1000},
        {"2000 a second over one half-life", 7000, 4, 1500},
        {"no time passed", 9000, 4, 1500},
        {"nothing came", 9000, 7, 750},
        {"a total that falls is a standstill", 100, 10, 375},
        {"and counts from there", 3100, 13, 687.5},
    };
    for (const Row& row : rows) {
        meter.add(row.total, row.at);
        EXPECT_DOUBLE_EQ(meter.bytesPerSecond(), row.speed) << row.name;
    }
}

TEST(SpeedMeter, DoesNotDependOnHowOftenItSamples) {
    SpeedMeter coarse;
    SpeedMeter fine;
    for (SpeedMeter* meter : {&coarse, &fine}) {
        meter->add(0, 0);
        meter->add(500, 1);
    }
    coarse.add(2500, 2);
    for (int step = 1; step <= 8; ++step) {
        fine.add(500 + step * 250, 1 + step / 8.0);
    }
    EXPECT_NEAR(coarse.bytesPerSecond(), fine.bytesPerSecond(), 1e-9);
}

TEST(SpeedMeter, EstimatesOnceSettled) {
    SpeedMeter meter;
    EXPECT_EQ(meter.secondsLeft(100, 10), std::nullopt) << "no sample";
    meter.add(0, 10);
    meter.add(2000, 11);
    EXPECT_EQ(meter.secondsLeft(100, 12.9), std::nullopt) << "not settled";
    EXPECT_EQ(meter.secondsLeft(3000, 13), 1.5);
    meter.smoothed = 1;
    EXPECT_EQ(meter.secondsLeft(3000, 13), std::nullopt) << "as good as standing still";
    meter.smoothed = 2000;
    meter.reset();
    EXPECT_EQ(meter.secondsLeft(3000, 13), std::nullopt);
}

TEST(Backoff, DoublesUpToItsLimit) {
    const Backoff backoff{1, 60};
    const std::pair<int, double> longest[] = {{0, 1}, {1, 1}, {2, 2}, {3, 4}, {7, 60}, {often, 60}};
    for (const auto& [attempt, seconds] : longest) {
        EXPECT_EQ(backoff.delay(attempt, 1), seconds) << attempt;
        EXPECT_EQ(backoff.delay(attempt, 0), seconds / 2) << attempt;
    }
    const std::pair<double, double> jitter[] = {{0.5, 3}, {-1, 2}, {7, 4}};
    for (const auto& [random, seconds] : jitter) {
        EXPECT_EQ(backoff.delay(3, random), seconds) << random;
    }
    EXPECT_EQ((Backoff{0, 60}.delay(often, 1)), 0);
}

TEST(TokenBucket, ChoosesItsCapacity) {
    for (const double rate : {0.0, -5.0, 1.0, std::nan("")}) {
        EXPECT_EQ(TokenBucket(rate).rate, 1) << rate;
        EXPECT_EQ(TokenBucket(rate).burst, 65536) << rate;
    }
    EXPECT_EQ(TokenBucket(1'000'000).burst, 250'000);
}

TEST(TokenBucket, MakesWhoeverTookTooMuchWaitForTheDebt) {
    TokenBucket bucket(1000, 500);
    EXPECT_EQ(bucket.take(500, 100), 0);
    EXPECT_EQ(bucket.take(250, 100), 0.25);
    EXPECT_EQ(bucket.take(250, 100), 0.5) << "the debt grows";
    EXPECT_EQ(bucket.take(0, 100.5), 0) << "paid";
    EXPECT_EQ(bucket.take(600, 1000), 0.1) << "never fuller than its capacity";
}

} // namespace
