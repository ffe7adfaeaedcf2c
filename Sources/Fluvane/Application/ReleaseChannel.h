// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/MainContext.h"

#include <functional>
#include <string>

namespace fluvane {

/// How this build looks for newer releases. Feed and key are what it was given as FLUVANE_RELEASE_FEED and
/// FLUVANE_RELEASE_KEY; by default there is neither, and both functions are empty. For the main thread.
struct ReleaseChannel {
    using Tell = std::function<void(const std::string& sentence)>;
    std::function<void(Tell told)> check{}; ///< Now; calls back later.
    std::function<void(Tell news)> start{}; ///< Looks now and then from here on. Once.
};

/// The context must outlive it.
[[nodiscard]] ReleaseChannel releaseChannel(const tessivar::MainContext& context);

} // namespace fluvane
