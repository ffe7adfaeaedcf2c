// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Turns.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace fluvane {
namespace {

class TurnsTest : public testing::Test {
protected:
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
    {
        const auto outer = turns->open();
        {
            const auto inner = turns->open();
            turns->changed();
        }
        turns->changed();
        EXPECT_EQ(seen, "cc");
    }
    EXPECT_EQ(seen, "ccSO");
    seen.clear();
    { const auto nothing = turns->open(); }
    EXPECT_EQ(seen, "");
    {
        const auto turn = turns->open();
        turns->progressed();
    }
    EXPECT_EQ(seen, "O");
    seen.clear();
    changes = 2;
    {
        const auto turn = turns->open();
        turns->changed();
    }
    EXPECT_EQ(seen, "cScScSO") << "until nothing changes anymore";
}

TEST_F(TurnsTest, LaterWorkHasATurnOfItsOwnAndDoesNotOutliveTheEngine) {
    const auto later = [this] {
        return turns->later([this](char sign) { (seen += sign, turns->changed()); });
    };
    auto work = later();
    work('1');
    EXPECT_EQ(seen, "1cSO");
    turns->end();
    work('2');
    EXPECT_EQ(seen, "1cSO");
    turns.reset();
    work('3');
    EXPECT_EQ(seen, "1cSO");
}

TEST_F(TurnsTest, AChangeOutsideOfATurnIsAFault) {
    EXPECT_DEATH(turns->changed(), "outside of a turn");
}

} // namespace
} // namespace fluvane
