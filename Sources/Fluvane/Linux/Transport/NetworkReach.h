// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string_view>

namespace fluvane::networkReach {

/// Whether there is a way out of this machine: a default route that works, or one of its own to the address
/// of the peer (may be empty). True when that can't be found out. From any thread; doesn't block.
[[nodiscard]] bool beyondThisMachine(std::string_view peer);
/// Whether a host's name or address means this machine itself.
[[nodiscard]] bool isLoopback(std::string_view host);

} // namespace fluvane::networkReach
