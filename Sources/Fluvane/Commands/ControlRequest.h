// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// The arguments in a request: a JSON array of strings. Absent for everything else, however it is nested,
/// encoded or cut short.
[[nodiscard]] std::optional<std::vector<std::string>> parseRequest(std::string_view text);

} // namespace fluvane
