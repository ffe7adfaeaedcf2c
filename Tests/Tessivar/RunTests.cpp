#include "Tessivar/Run.h"

#include <gtest/gtest.h>

#include <unistd.h>

using tessivar::Run;

TEST(Run, ThisProcessIsAliveAndItsNameLeadsBackToIt) {
    const Run run = Run::current();
    EXPECT_EQ(run.pid, getpid());
    EXPECT_EQ(run.bootID.size(), 32U);
    EXPECT_GT(run.startTicks, 0U);
    EXPECT_TRUE(run.isAlive());
    EXPECT_EQ(Run::fromName(run.name()), run);
}

TEST(Run, AReusedNumberOrAnotherBootIsAnotherProcess) {
    Run reused = Run::current();
    ++reused.startTicks;
    EXPECT_FALSE(reused.isAlive());
    Run before = Run::current();
    before.bootID.front() = before.bootID.front() == '0' ? '1' : '0';
    EXPECT_FALSE(before.isAlive());
}

TEST(Run, WhatIsNoNameIsRefused) {
    for (const char* name :
         {"", "-", "a-b", "a-1-", "a--1", "a-1-2x", "a-1-2-3", "a-99999999999999999999-1"}) {
        EXPECT_FALSE(Run::fromName(name)) << name;
    }
}
