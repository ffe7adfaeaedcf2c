// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ConnectionCaps.h"
#include "FluvaneEngine/Growth.h"
#include "FluvaneEngine/Retry.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace fluvane {
namespace {

/// Bytes per second that a number of connections brings this download, and all others together.
struct Line {
    std::function<double(int)> own;
    std::function<double(int)> others = [](int) { return 0; };
    bool sendsInBursts = false; ///< One in 1.5 s.
};

/// Runs a download on the line for `windows` measurements and tells what it aims for at the end of each.
std::string targets(Growth& growth, const Line& line, const Growth::Limits& limits, int windows = 6) {
    std::string seen = std::to_string(growth.aim(limits.cap));
    double own = 0;
    double others = 0;
    double time = 0;
    for (int sample = 0; sample < 8 * windows && growth.isGrowing(); ++sample) {
        const auto before = growth.aim(limits.cap);
        (void)growth.feed({time, static_cast<std::int64_t>(own), static_cast<std::int64_t>(others)}, limits,
                          {});
        if (growth.aim(limits.cap) != before) {
            seen += " " + std::to_string(growth.aim(limits.cap));
        }
        const double share = !line.sendsInBursts ? 0.5 : sample % 3 == 0 ? 1.5 : 0;
        own += share * line.own(growth.aim(limits.cap));
        others += 0.5 * line.others(growth.aim(limits.cap));
        time += 0.5;
    }
    return seen;
}

TEST(Growth, DoublesWhileThatIsFasterAndCostsTheOthersNothing) {
    const auto steady = [](int connections) { return 1e6 * connections; };
    const auto fullAt = [](double most) { return [most](int n) { return std::min(1e6 * n, most); }; };
    const auto tiny = [](int n) { return n > 2 ? 0 : 5e4; };
    const auto shrinkingFrom = [](int from) { return [from](int n) { return n > from ? 5e6 : 8e6; }; };
    struct {
        const char* name;
        Line line;
        Growth::Limits limits;
        const char* expected;
    } const rows[] = {
        {"up to the cap", {steady}, {8, false}, "2 4 8"},
        {"in bursts", {steady, [](int) { return 0; }, true}, {8, false}, "2 4 8"},
        {"a cap below the start", {steady}, {1, false}, "1"},
        {"10 % is not faster", {fullAt(4.4e6)}, {16, false}, "2 4 8 4"},
        {"16 % is", {fullAt(4.65e6)}, {8, false}, "2 4 8"},
        {"takes from the others", {steady, shrinkingFrom(2)}, {8, false}, "2 4 2"},
        {"may take when prioritized", {steady, shrinkingFrom(2)}, {8, true}, "2 4 8"},
        {"others below a twentieth don't count", {steady, tiny}, {8, false}, "2 4 8"},
    };
    for (const auto& row : rows) {
        Growth growth;
        growth.begin(2);
        EXPECT_EQ(targets(growth, row.line, row.limits), row.expected) << row.name;
        EXPECT_FALSE(growth.isGrowing()) << row.name;
    }
}

TEST(ConnectionCaps, EachReasonIsKeptForItself) {
    ConnectionCaps caps;
    caps.begin({});
    caps.refused(1, 0, 8);
    caps.setRule(4);
    caps.setRule({});
    EXPECT_EQ(caps.allowed(16), 4) << "a rule that goes takes nothing of the server's word with it";
    caps.wholeFile(2, true);
    caps.granted(1);
    caps.refused(2, 0, 8);
    EXPECT_EQ(caps.allowed(8), 1);
    EXPECT_TRUE(caps.partCame());
    EXPECT_EQ(caps.allowed(8), 2) << "the halving outlasts it";
    caps.begin({});
    caps.wholeFile(3, false);
    caps.wholeFile(1, true);
    EXPECT_TRUE(caps.partCame());
    EXPECT_EQ(caps.allowed(8), 3) << "only what may pass does";
}

TEST(Retry, AGoodStretchForgetsFailuresOfBothKinds) {
    Retry retry;
    retry.begin();
    retry.count(true, 50, 100);
    retry.count(false, 149, 100);
    EXPECT_EQ(retry.attempts(), 2);
    retry.count(false, 249, 100);
    EXPECT_EQ(retry.attempts(), 1) << "a hundred bytes since the last failure";
}

} // namespace
} // namespace fluvane
