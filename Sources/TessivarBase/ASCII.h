// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// Kinds of ASCII characters, whatever the locale; no other byte is of any kind.
namespace tessivar::ascii {

[[nodiscard]] constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

[[nodiscard]] constexpr bool isLetterOrDigit(char c) {
    return isLetter(c) || isDigit(c);
}

} // namespace tessivar::ascii
