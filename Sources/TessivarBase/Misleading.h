// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

/// Characters by which a text of others looks like something else than it is.
namespace tessivar::misleading {

struct Range {
    char32_t first;
    char32_t last;
};

/// Sorted. Controls, what ends a line, what turns the direction of the text behind it, and what isn't seen.
/// Not the joiners (U+200C, U+200D), which scripts and emoji need, nor what selects a variant.
inline constexpr Range ranges[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},     {0x61C, 0x61C},
    {0x115F, 0x1160}, {0x17B4, 0x17B5},   {0x180E, 0x180E},   {0x200B, 0x200B},   {0x200E, 0x200F},
    {0x2028, 0x202E}, {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
    {0xFFF9, 0xFFFB}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE00FF},
};

[[nodiscard]] constexpr bool isOne(char32_t scalar) {
    const auto* const range = std::ranges::lower_bound(ranges, scalar, {}, &Range::last);
    return range != std::end(ranges) && scalar >= range->first;
}

/// How many bytes one at the start of a text in UTF-8 takes; 0 when there is none.
[[nodiscard]] constexpr std::size_t lengthAtStart(std::string_view utf8) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(utf8[at]); };
    if (utf8.empty() || (byte(0) >= 0x80 && byte(0) < 0xC2)) {
        return 0;
    }
    const std::size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    char32_t scalar = length == 1 ? byte(0) : byte(0) & (0x7FU >> length);
    for (std::size_t at = 1; at < length; ++at) {
        if (at >= utf8.size() || (byte(at) & 0xC0U) != 0x80) {
            return 0;
        }
        scalar = scalar << 6U | (byte(at) & 0x3FU);
    }
    return isOne(scalar) ? length : 0;
}

} // namespace tessivar::misleading
