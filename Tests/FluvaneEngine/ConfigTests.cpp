// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Config.h"

#include <gtest/gtest.h>

using namespace fluvane;

namespace {

Config decoded(const char* text) {
    return Config::decoded(coding::parse(text));
}

TEST(Config, IsStrictAboutTypesButNotAboutNamingAndRules) {
    EXPECT_EQ(decoded("{}"), Config());
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
    EXPECT_EQ(
        Config::everySetting().encoded().dump(),
        R"({"connections":8,"connectionsPerServer":16,"simultaneous":3,"speedLimit":5000000,)"
        R"("folder":"~/Downloads","duplicateNames":"spaceParentheses","rules":[],"keepAwake":true,)"
        R"("waitOnHotspots":true,"notifyWhenDone":true,"detailedLogging":false,)"
        R"("hasCompletedOnboarding":false,"startOffersAtOnce":false,"renewLinksByThemselves":false,"offerSites":{}})");
    Config config = Config::everySetting();
    config.duplicateNames = DuplicateNaming::underscore;
    config.rules = {{"a", Rule::Extensions{{"zip"}}, "~/Z", 3}};
    config.keepAwake = config.waitOnHotspots = config.notifyWhenDone = false;
    config.detailedLogging = config.hasCompletedOnboarding = true;
    config.startOffersAtOnce = config.renewLinksByThemselves = true;
    config.offerSites = {{"a.example", true}, {"b.example", false}};
    EXPECT_EQ(Config::decoded(coding::parse(config.encoded().dump())), config);
}

} // namespace
