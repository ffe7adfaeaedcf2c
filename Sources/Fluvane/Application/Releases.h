// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/WhatsNew.h"

#include <vector>

namespace fluvane {

/// The application's releases, newest first.
[[nodiscard]] std::vector<tessivar::Release> releases();

} // namespace fluvane
