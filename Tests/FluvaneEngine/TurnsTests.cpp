// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Turns.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

namespace fluvane {
namespace {

class TurnsTest : public testing::Test {
protected:
    void turn(const std::function<void()>& work) {
        const auto open = turns->open();
        work();
    }
    std::string seen;
    int changes = 0; ///< That settling makes.
    std::optional<Turns> turns{Turns::Ends{.listChanged = [this] { seen += "c"; },
                                           .settle =
                                               [this] {
                                                   seen += "S";
                                                   if (changes-- > 0) {
                                                       turns->changed();
                                                   }
                                               },
                                           .shown = [this] { seen += "O"; }}};
};

TEST_F(TurnsTest, WhatFollowsIsDoneOnceAtTheEndOfTheOutermost) {
    turn([this] {
        turn([this] { turns->changed(); });
        turns->changed();
        EXPECT_EQ(seen, "cc");
    });
    EXPECT_EQ(seen, "ccSO");
    turn([] {});
    EXPECT_EQ(seen, "ccSO");
    turn([this] { turns->progressed(); });
    EXPECT_EQ(seen, "ccSOO");
    changes = 2;
    turn([this] { turns->changed(); });
    EXPECT_EQ(seen, "ccSOOcScScSO") << "until nothing changes anymore";
}

TEST_F(TurnsTest, LaterWorkHasATurnOfItsOwnAndDoesNotOutliveTheEngine) {
    auto work = turns->later([this](char sign) { (seen += sign, turns->changed()); });
    work('1');
    EXPECT_EQ(seen, "1cSO");
    turns->end();
    work('2');
    EXPECT_EQ(seen, "1cSO");
    turns.reset();
    work('3');
    EXPECT_EQ(seen, "1cSO");
}

} // namespace
} // namespace fluvane
