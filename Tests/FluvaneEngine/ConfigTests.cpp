// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Config.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

using namespace fluvane;

namespace {

Config decoded(const char* text) {
    return Config::decoded(coding::parse(text));
}

TEST(Config, ForcesNumbersIntoTheirBounds) {
    EXPECT_EQ(decoded("{}"), Config());
    using Numbers = std::tuple<int, int, int, std::optional<std::int64_t>>;
    const support::Rows<const char*, Numbers> rows = {
        {R"({"connections":0,"simultaneous":0})", {1, 16, 1, {}}},
        {R"({"connections":40,"simultaneous":50,"connectionsPerServer":100})", {16, 32, 10, {}}},
        {R"({"connections":12,"connectionsPerServer":4})", {12, 12, 3, {}}},
        {R"({"speedLimit":1000})", {8, 16, 3, 16'000}},
        {R"({"speedLimit":1e30,"connections":5000000000,"simultaneous":-5000000000})",
         {16, 16, 1, std::numeric_limits<std::int64_t>::max()}},
    };
    support::expectRows(rows, [](const char* text) {
        const Config config = decoded(text);
        return Numbers(config.connections, config.connectionsPerServer, config.simultaneous,
                       config.speedLimit);
    });
}

TEST(Config, IsStrictAboutTypesButNotAboutNamingAndRules) {
    for (const auto* text :
         {R"({"connections":"8"})", R"({"connections":8.5})", R"({"folder":3})", R"({"keepAwake":1})"}) {
        EXPECT_THROW((void)decoded(text), coding::DecodingError) << text;
    }
    EXPECT_EQ(decoded(R"({"duplicateNames":"roman","rules":3})"), Config());
    const Config config = decoded(R"({"rules":[{"id":"a","match":{"site":"x"}},{"id":"b"},7,
                                               {"id":"c","match":{"kind":"video"}}]})");
    ASSERT_EQ(config.rules.size(), 2U);
    EXPECT_EQ(config.rules[0].id + config.rules[1].id, "ac");
}

TEST(Config, WritesEveryKeyInOrder) {
    EXPECT_EQ(Config::everySetting().encoded().dump(),
              R"({"connections":8,"connectionsPerServer":16,"simultaneous":3,"speedLimit":5000000,)"
              R"("folder":"~/Downloads","duplicateNames":"spaceParentheses","rules":[],"keepAwake":true,)"
              R"("waitOnHotspots":true,"notifyWhenDone":true,"detailedLogging":false,)"
              R"("hasCompletedOnboarding":false})");
    Config config = Config::everySetting();
    config.duplicateNames = DuplicateNaming::underscore;
    config.rules = {{"a", Rule::Extensions{{"zip"}}, "~/Z", 3}};
    config.keepAwake = config.waitOnHotspots = config.notifyWhenDone = false;
    config.detailedLogging = config.hasCompletedOnboarding = true;
    EXPECT_EQ(Config::decoded(coding::parse(config.encoded().dump())), config);
}

} // namespace
