// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/Updates.h"

namespace fluvane {

/// How this build looks for newer releases. Feed and key are what the build was given as FLUVANE_RELEASE_FEED
/// and FLUVANE_RELEASE_KEY; by default there is neither.
[[nodiscard]] tessivar::Updates::Options releaseChannel();

} // namespace fluvane
