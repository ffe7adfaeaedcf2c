// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Rules.h"

#include <string>

namespace fluvane::words {

/// Which files a rule is for, whatever it does with them: "Archives", "Files ending in .zip or .rar",
/// "Everything from example.com".
[[nodiscard]] std::string rule(const Rule& rule);

} // namespace fluvane::words
