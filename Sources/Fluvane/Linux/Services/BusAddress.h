// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"

#include <optional>
#include <string>
#include <string_view>

namespace fluvane {

/// Where the environment, or custom, says that a bus is; empty when nobody says. Never one that would have to
/// be started first.
[[nodiscard]] std::string busAddress(Bus::Kind kind);

/// The socket's file, of an address that is nothing but a path.
[[nodiscard]] std::optional<std::string> socketFile(std::string_view address);

} // namespace fluvane
