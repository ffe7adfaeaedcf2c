// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fluvane {

/// How a taken file name is numbered.
enum class DuplicateNaming { spaceParentheses, parentheses, hyphen, underscore, spaceNumber };

namespace duplicateNaming {
inline constexpr std::array all = {DuplicateNaming::spaceParentheses, DuplicateNaming::parentheses,
                                   DuplicateNaming::hyphen, DuplicateNaming::underscore,
                                   DuplicateNaming::spaceNumber};
inline constexpr DuplicateNaming standard = DuplicateNaming::spaceParentheses;

[[nodiscard]] std::int64_t first(DuplicateNaming style);
/// `extension` carries its dot or is empty.
[[nodiscard]] std::string name(DuplicateNaming style, std::string_view stem, std::int64_t number,
                               std::string_view extension);
[[nodiscard]] std::string example(DuplicateNaming style, std::string_view fileName);
[[nodiscard]] std::string_view rawValue(DuplicateNaming style);
[[nodiscard]] std::optional<DuplicateNaming> from(std::string_view rawValue);
} // namespace duplicateNaming

} // namespace fluvane
