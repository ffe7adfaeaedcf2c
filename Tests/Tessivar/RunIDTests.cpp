// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/RunID.h"

#include <gtest/gtest.h>

#include <unistd.h>

using tessivar::RunID;

TEST(RunID, TellsThisProcessFromOneThatHadItsNumber) {
    const RunID run = RunID::current();
    EXPECT_EQ(run.pid, getpid());
    EXPECT_TRUE(run.isAlive());
    EXPECT_EQ(RunID::fromName(run.name()), run);
    RunID reused = run;
    ++reused.startTicks;
    EXPECT_FALSE(reused.isAlive());
    RunID before = run;
    before.bootID.front() = before.bootID.front() == '0' ? '1' : '0';
    EXPECT_FALSE(before.isAlive());
    for (const char* name :
         {"", "-", "a-b", "a-1-", "a--1", "a-1-2x", "a-1-2-3", "a-99999999999999999999-1"}) {
        EXPECT_FALSE(RunID::fromName(name)) << name;
    }
}
