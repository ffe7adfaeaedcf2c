// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Session.h"

#include <optional>
#include <string>

namespace fluvane {

/// The cookie as the transfer library's own engine takes it; absent for one that could be read as another
/// than it is, and for one that is over by the time it is written.
[[nodiscard]] std::optional<std::string> cookieLine(const Cookie& cookie);

} // namespace fluvane
