// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Speed.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace fluvane;

namespace {

TEST(SpeedMeter, StartsAtTheFirstMeasurementAndSmooths) {
    SpeedMeter meter;
    const std::tuple<const char*, std::int64_t, double, double> rows[] = {
        {"no time yet", 0, 0, 0},
        {"the first second", 1000, 1, 1000},
        {"2000 a second over one half-life", 7000, 4, 1500},
        {"nothing came", 7000, 7, 750},
        {"a total that falls is a standstill", 100, 10, 375},
        {"and counts from there", 3100, 13, 687.5},
    };
    for (const auto& [name, total, at, speed] : rows) {
        meter.add(total, at);
        EXPECT_DOUBLE_EQ(meter.bytesPerSecond(), speed) << name;
    }
}

} // namespace
