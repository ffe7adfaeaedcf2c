// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Environment.h"

#include <functional>

namespace fluvane {

/// What the engine asks of this system besides its ports: the type registry, the user's folders, the clock.
[[nodiscard]] Environment systemEnvironment();

/// Where it is kept which downloads were begun for a browser that hasn't let go of its own yet.
[[nodiscard]] ServerCounts::Storage offersOfLastRun();

/// Numbers from 0 to below 1.
[[nodiscard]] std::function<double()> systemRandom();

} // namespace fluvane
