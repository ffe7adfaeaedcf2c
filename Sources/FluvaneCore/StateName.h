// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"

#include <string_view>

namespace fluvane {

/// The name of a state in the command line's list: "downloading", "link-expired", …
[[nodiscard]] std::string_view stateName(const DownloadState& state);

} // namespace fluvane
