// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <optional>

namespace fluvane::defaultRoute {

/// Whether the main routing table leads anywhere by default, in IPv4 or IPv6, over an interface that is up
/// and has a carrier. Bridges of containers and other links that only reach their own network don't count.
/// Absent when the kernel doesn't say. From any thread; doesn't block.
[[nodiscard]] std::optional<bool> works();

} // namespace fluvane::defaultRoute
