// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fluvane::webPage {

/// Whether a server sent a page instead of the file the user wanted. `size` in bytes.
[[nodiscard]] bool isLikely(const std::optional<std::string>& contentType, std::string_view fileName,
                            std::optional<std::int64_t> size);

} // namespace fluvane::webPage
