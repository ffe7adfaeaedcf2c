// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What Text.h does without tables of Unicode. Of its own, so that the client, which repairs what it prints,
// loads no library for it.

#include "FluvaneCore/Text.h"

#include <algorithm>

namespace fluvane::text {

namespace {

constexpr char32_t replacement = U'\uFFFD';

struct LeadByte {
    std::size_t length;                          ///< 0 for a byte that begins nothing.
    unsigned char lowest = 0x80, highest = 0xBF; ///< What the second byte may be.
};

LeadByte leadByte(unsigned char byte) {
    if (byte < 0xC2 || byte > 0xF4) {
        return {0};
    }
    if (byte < 0xE0) {
        return {2};
    }
    switch (byte) {
    case 0xE0:
        return {3, 0xA0, 0xBF};
    case 0xED:
        return {3, 0x80, 0x9F};
    case 0xF0:
        return {4, 0x90, 0xBF};
    case 0xF4:
        return {4, 0x80, 0x8F};
    default:
        return {byte < 0xF0 ? std::size_t(3) : std::size_t(4)};
    }
}

bool isScalar(char32_t value) {
    return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

} // namespace

/// Of a broken sequence the longest start of a valid one counts as one, at least a byte.
Scalar firstScalar(std::string_view utf8) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(utf8[at]); };
    if (byte(0) < 0x80) {
        return {byte(0), 1, true};
    }
    LeadByte lead = leadByte(byte(0));
    char32_t value = byte(0) & (0x7Fu >> lead.length);
    std::size_t length = 1;
    while (length < std::min(lead.length, utf8.size()) && byte(length) >= lead.lowest &&
           byte(length) <= lead.highest) {
        value = value << 6 | (byte(length++) & 0x3Fu);
        lead = {lead.length};
    }
    return length == lead.length ? Scalar{value, length, true} : Scalar{replacement, length, false};
}

void append(std::string& utf8, char32_t scalar) {
    const char32_t value = isScalar(scalar) ? scalar : replacement;
    const int following = value < 0x80 ? 0 : value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    constexpr unsigned char leads[] = {0x00, 0xC0, 0xE0, 0xF0};
    utf8 += static_cast<char>(leads[following] | value >> (6 * following));
    for (int left = following - 1; left >= 0; --left) {
        utf8 += static_cast<char>(0x80 | (value >> (6 * left) & 0x3F));
    }
}

std::u32string scalars(std::string_view utf8) {
    std::u32string result;
    result.reserve(utf8.size());
    while (!utf8.empty()) {
        const Scalar scalar = firstScalar(utf8);
        result += scalar.value;
        utf8.remove_prefix(scalar.length);
    }
    return result;
}

std::string utf8(std::u32string_view scalars) {
    std::string result;
    result.reserve(scalars.size());
    for (const char32_t scalar : scalars) {
        append(result, scalar);
    }
    return result;
}

std::string repaired(std::string_view utf8) {
    if (isValid(utf8)) {
        return std::string(utf8);
    }
    return text::utf8(scalars(utf8));
}

bool isValid(std::string_view utf8) {
    while (!utf8.empty()) {
        const Scalar scalar = firstScalar(utf8);
        if (!scalar.valid) {
            return false;
        }
        utf8.remove_prefix(scalar.length);
    }
    return true;
}

} // namespace fluvane::text
