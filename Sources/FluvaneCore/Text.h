// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Unicode text, held as UTF-8. Every function accepts any bytes: invalid sequences count as U+FFFD where
/// characters matter and are otherwise passed through.
namespace fluvane::text {

/// One scalar at the start of a text and the bytes that it takes there.
struct Scalar {
    char32_t value = U'\uFFFD';
    std::size_t length = 0;
    bool valid = false; ///< False for a broken sequence, of which `length` bytes count as one U+FFFD.
};
/// The first scalar of a text that isn't empty; a loop over a text steps by its length.
[[nodiscard]] Scalar firstScalar(std::string_view utf8);
void append(std::string& utf8, char32_t scalar);

/// The scalars of the text, invalid sequences replaced by U+FFFD.
[[nodiscard]] std::u32string scalars(std::string_view utf8);
[[nodiscard]] std::string utf8(std::u32string_view scalars);
/// The text with every invalid sequence replaced by U+FFFD.
[[nodiscard]] std::string repaired(std::string_view utf8);
[[nodiscard]] bool isValid(std::string_view utf8);

/// Whole characters as a reader sees them (extended grapheme clusters), as slices of the argument.
[[nodiscard]] std::vector<std::string_view> characters(std::string_view utf8);

[[nodiscard]] bool isWhitespace(char32_t scalar); ///< White space, line breaks included.
[[nodiscard]] bool isNewline(char32_t scalar);
[[nodiscard]] bool isControl(char32_t scalar); ///< NUL, C0, DEL, C1 and format controls of category Cc.
[[nodiscard]] bool isLetterOrDigit(char32_t scalar);
/// The text with something else for each scalar that may mislead whoever reads it, `instead(scalar)`: those
/// of tessivar::misleading, and joiners that join nothing.
[[nodiscard]] std::string replacingMisleading(std::string_view utf8,
                                              const std::function<std::string(char32_t)>& instead);
/// Letters, marks, digits and symbols (there are hosts of emoji) beyond ASCII: no white space, controls,
/// invisible format characters, punctuation or unassigned scalars.
[[nodiscard]] bool mayStandInHostName(char32_t scalar);

/// Scalar by scalar, without regard to any language.
[[nodiscard]] std::string lowercased(std::string_view utf8);
[[nodiscard]] bool equalIgnoringASCIICase(std::string_view a, std::string_view b);
[[nodiscard]] std::string_view trimmed(std::string_view utf8); ///< White space and line breaks.
[[nodiscard]] std::string_view trimmedKeepingNewlines(std::string_view utf8);

/// Decodes %XX once. Absent when an escape is broken or the result is no UTF-8.
[[nodiscard]] std::optional<std::string> percentDecoded(std::string_view text);
/// The same, whatever the bytes are.
[[nodiscard]] std::optional<std::string> percentDecodedBytes(std::string_view text);
/// The value of two hexadecimal digits, absent when either is none.
[[nodiscard]] std::optional<unsigned char> hexByte(char high, char low);

/// An optional sign and decimal digits, nothing else, within 64 bits.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(std::string_view text);
/// A decimal floating-point number in the C locale, the whole text, a sign allowed; `inf` and `nan` in any
/// form are none, and so are numbers too big or too small for a double.
[[nodiscard]] std::optional<double> decimalNumber(std::string_view text);

/// The text after the last dot of a file name, without the dot; empty when there is none: for a name that
/// begins with its only dot, that ends in a dot, or whose text after the dot holds white space or "/". Only
/// what follows the last "/" counts as the name. The one rule for what an extension is: everything asks here.
[[nodiscard]] std::string_view pathExtension(std::string_view name);

} // namespace fluvane::text
