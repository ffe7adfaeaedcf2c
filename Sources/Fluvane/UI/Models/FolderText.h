// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <string>

namespace fluvane {

/// A path that begins with "~" where it is in the home, so that a setting may move to another machine.
[[nodiscard]] std::string belowHome(const std::string& path);
/// A folder as a person knows it: "~/Downloads" in the home, the whole path elsewhere. In one line.
[[nodiscard]] std::string folderText(const URL& folder);

} // namespace fluvane
