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
    const std::pair<S, std::string_view> rows[] = {
        {S::Queued{}, "queued"},
        {S::Starting{}, "starting"},
        {S::Downloading{}, "downloading"},
        {S::Paused{}, "paused"},
        {S::Wait::offline, "offline"},
        {S::Wait::retrying, "retrying"},
        {S::Wait::linkExpired, "link-expired"},
        {S::Wait::limitedNetwork, "limited-network"},
        {S::Verifying{}, "verifying"},
        {S::Finishing{}, "finishing"},
        {S::Finished{}, "finished"},
        {S::Failed{"Gone."}, "failed"},
    };
    for (const auto& [state, name] : rows) {
        EXPECT_EQ(stateName(state), name);
        EXPECT_EQ(stateNamed(name), state.kind()) << name;
    }
    EXPECT_EQ(stateNamed("waiting"), std::nullopt);
}

} // namespace
