// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace fluvane::words {

namespace {

bool isPlain(char c) {
    return c >= ' ' && c < 0x7F;
}

std::string escape(char32_t unit) {
    std::array<char, 7> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(unit & 0xFFFF));
    return text.data();
}

} // namespace

std::string oneLine(std::string_view text) {
    if (std::ranges::all_of(text, isPlain)) {
        return std::string(text);
    }
    return text::replacingMisleading(text, [](char32_t) { return "\uFFFD"; });
}

std::string escaped(std::string_view text) {
    const auto staysAsItIs = [](char32_t scalar) { return scalar == U'\n' || scalar == U'\t'; };
    if (std::ranges::all_of(
            text, [&](char c) { return isPlain(c) || staysAsItIs(static_cast<unsigned char>(c)); })) {
        return std::string(text);
    }
    return text::replacingMisleading(text, [&](char32_t scalar) {
        if (staysAsItIs(scalar)) {
            return std::string(1, static_cast<char>(scalar));
        }
        if (scalar < 0x10000) {
            return escape(scalar);
        }
        return escape(0xD800 + ((scalar - 0x10000) >> 10)) + escape(0xDC00 + (scalar & 0x3FF));
    });
}

} // namespace fluvane::words
