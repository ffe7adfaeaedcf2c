// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Turns.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace fluvane {
namespace {

TEST(Turns, WhatFollowsIsDoneOnceAtTheEndOfTheOutermostUntilNothingChanges) {
    std::string seen;
    std::optional<Turns> turns;
    const auto settle = [&] {
        seen += "S";
        if (seen == "cS") {
            turns->changed();
        }
    };
    turns.emplace(Turns::Ends{[&] { seen += "c"; }, settle, [&] { seen += "O"; }});
    auto late = turns->later([&] { seen += "too late"; });
    turns->later([&] {
        turns->later([&] { turns->changed(); })();
        EXPECT_EQ(seen, "c");
    })();
    EXPECT_EQ(seen, "cScSO");
    turns->later([&] { turns->progressed(); })();
    turns->later([] {})();
    EXPECT_EQ(seen, "cScSOO");
    turns.reset();
    late();
    EXPECT_EQ(seen, "cScSOO");
}

} // namespace
} // namespace fluvane
