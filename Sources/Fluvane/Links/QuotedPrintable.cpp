// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/QuotedPrintable.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <optional>

namespace fluvane::links {

namespace {

using namespace std::string_view_literals;

/// The bytes of a line break behind a "=" that folds a line; 0 for none.
std::size_t fold(std::string_view text) {
    return text.starts_with("=\r\n") ? 3 : text.starts_with("=\n") ? 2 : 0;
}

/// Mail programs write the digits in capitals, and those of links mostly aren't.
std::optional<unsigned char> escaped(std::string_view text) {
    const auto isSmall = [](char c) { return c >= 'a' && c <= 'f'; };
    const bool whole = text.size() >= 3 && !isSmall(text[1]) && !isSmall(text[2]);
    return whole ? text::hexByte(text[1], text[2]) : std::nullopt;
}

bool namesItself(std::string_view text) {
    constexpr auto header = "Content-Transfer-Encoding: quoted-printable"sv;
    for (std::size_t at = 0; (at = text.find(": ", at)) != std::string_view::npos; ++at) {
        const std::size_t name = header.find(':');
        if (at >= name && text::equalIgnoringASCIICase(text.substr(at - name, header.size()), header)) {
            return true;
        }
    }
    return false;
}

/// Whether every "=" is an escape or folds a line, and one folds a line as long as mail programs make them.
bool isFolded(std::string_view text) {
    constexpr std::size_t shortest = 65;
    constexpr std::size_t longest = 76;
    bool folded = false;
    for (std::size_t at = 0; (at = text.find('=', at)) != std::string_view::npos; ++at) {
        const std::string_view rest = text.substr(at);
        if (fold(rest) > 0) {
            const std::size_t start = text.rfind('\n', at) + 1; // 0 in the first line
            const std::size_t length = at + 1 - start;
            folded = folded || (length >= shortest && length <= longest);
        } else if (!escaped(rest)) {
            return false;
        }
    }
    return folded;
}

} // namespace

bool isQuotedPrintable(std::string_view text) {
    return text.find("=3D\"") != std::string_view::npos || namesItself(text) || isFolded(text);
}

std::string decodedQuotedPrintable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find('='), text.size());
        result += text.substr(0, plain);
        text.remove_prefix(plain);
        if (const std::size_t length = fold(text)) {
            text.remove_prefix(length);
        } else if (const auto byte = escaped(text)) {
            result += static_cast<char>(*byte);
            text.remove_prefix(3);
        } else if (!text.empty()) {
            result += '=';
            text.remove_prefix(1);
        }
    }
    return text::repaired(result);
}

} // namespace fluvane::links
