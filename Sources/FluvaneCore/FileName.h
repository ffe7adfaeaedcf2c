// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DuplicateNaming.h"
#include "FluvaneCore/URL.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Safe file names from what servers and links say.
namespace fluvane::fileName {

/// The longest name a file system takes, in UTF-8 bytes.
inline constexpr std::size_t longest = 255;

/// Preferred extension, without dot, of a MIME type: the system's type registry.
using TypeRegistry = std::function<std::optional<std::string>(const std::string& mimeType)>;

struct StemAndExtension {
    std::string stem;
    std::string extension; ///< Begins with "." or is empty.
    friend bool operator==(const StemAndExtension&, const StemAndExtension&) = default;
};

/// Never empty, at most `longest` bytes, safe to create in a folder.
[[nodiscard]] std::string suggested(const std::optional<std::string>& disposition, const URL& url,
                                    const std::optional<std::string>& mimeType,
                                    const TypeRegistry& registry = {});
/// Absent when nothing usable is left. Valid UTF-8 of at most `longest` bytes without separators, a leading
/// dot, or characters by which it would look like another (text::replacingMisleading).
[[nodiscard]] std::optional<std::string> clean(std::string_view name);
/// Knows the double extensions of archives: ".tar.gz".
[[nodiscard]] StemAndExtension split(std::string_view name);
/// Cut by whole characters to at most `bytes` bytes, the extension kept when it is short enough. Where not
/// even one character fits, it is cut within that character rather than dropped.
[[nodiscard]] std::string shortened(std::string_view name, std::size_t bytes);
/// The first free name. Where a name or a numbered name would not fit a file system with `reserve` (at most
/// 127) bytes appended, its stem is cut; otherwise nothing changes. Asks `taken` until it says no.
[[nodiscard]] std::string unique(std::string_view name, DuplicateNaming style,
                                 const std::function<bool(const std::string&)>& taken,
                                 std::size_t reserve = 0);

} // namespace fluvane::fileName
