// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Words.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace fluvane;
using namespace support;

namespace {

TEST(Words, SizesAndSpeeds) {
    const Rows<std::int64_t, const char*> sizes = {
        {1, "1 byte"},         {999, "999 bytes"}, {1050, "1.1 KB"},
        {999'949, "999.9 KB"}, {999'950, "1 MB"},  {std::numeric_limits<std::int64_t>::max(), "9.2 EB"},
        {-1, "0 bytes"},
    };
    expectRows(sizes, words::bytes);
    const Rows<double, const char*> speeds = {
        {999.6, "1 KB/s"}, {-3, "0 bytes/s"}, {HUGE_VAL, "9.2 EB/s"}, {std::nan(""), "0 bytes/s"}};
    expectRows(speeds, words::speed);
}

TEST(Words, LinesForEveryState) {
    using P = words::Progress;
    using enum StateKind;
    const P again{.state = retrying, .reason = "It\nbroke.", .retryIn = 40, .done = 1, .size = 2};
    const P done{.state = finished, .size = 3'000'000'000, .folder = "/d", .when = "today at 9:05"};
    const Rows<const char*, P> rows = {
        {"Paused at 45 %, 1.4 GB of 3 GB", {.state = paused, .done = 1'350'000'000, .size = 3'000'000'000}},
        {"It\uFFFDbroke. Trying again in about 40 seconds.", again},
        {"No\uFFFDspace.", {.state = failed, .reason = "No\nspace.", .done = 1}},
        {"3 GB, finished today at 9:05 in /d", done},
    };
    for (const auto& [line, progress] : rows) {
        EXPECT_EQ(words::line(progress), line);
    }
}

} // namespace
