// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>

namespace fluvane {

/// What `fluvane help` prints, without the last line feed.
[[nodiscard]] std::string usageText();

} // namespace fluvane
