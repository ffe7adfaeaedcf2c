// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>

namespace fluvane {

/// An absolute point in time. Stored data keeps whole seconds of it.
using Date = std::chrono::system_clock::time_point;

} // namespace fluvane
