// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/StateName.h"

#include <gtest/gtest.h>

using namespace fluvane;
using S = DownloadState;

namespace {

static_assert(!std::is_constructible_v<S, std::string>, "a bare text is no failure");
static_assert(!std::is_constructible_v<S, int>);

TEST(DownloadState, HasANameInCommands) {
    std::string names;
    for (auto kind = StateKind::queued; kind <= StateKind::failed;
         kind = static_cast<StateKind>(static_cast<int>(kind) + 1)) {
        names += std::string(stateName(kind)) + " ";
        EXPECT_EQ(stateNamed(stateName(kind)), kind);
    }
    EXPECT_EQ(names, "queued starting downloading paused offline retrying link-expired limited-network "
                     "no-space verifying finishing finished failed ");
}

} // namespace
