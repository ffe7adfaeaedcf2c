// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"

#include "TessivarBase/Misleading.h"

#include <utf8proc.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace fluvane::text {

namespace {

utf8proc_int32_t codepoint(char32_t scalar) {
    return static_cast<utf8proc_int32_t>(scalar);
}

bool isASCIIWhitespace(char32_t scalar) {
    return scalar == U' ' || (scalar >= 9 && scalar <= 13);
}

template <class Predicate>
std::string_view trimmedWhere(std::string_view utf8, Predicate drop) {
    while (!utf8.empty()) {
        const Scalar first = firstScalar(utf8);
        if (!drop(first.value)) {
            break;
        }
        utf8.remove_prefix(first.length);
    }
    std::size_t end = utf8.size();
    while (end > 0) {
        std::size_t start = end - 1;
        while (start > 0 && end - start < 4 && (static_cast<unsigned char>(utf8[start]) & 0xC0) == 0x80) {
            --start;
        }
        const Scalar last = firstScalar(utf8.substr(start, end - start));
        if (last.length != end - start || !drop(last.value)) {
            break;
        }
        end = start;
    }
    return utf8.substr(0, end);
}

/// Behind letters, marks and emoji; not those of Latin, Greek and Cyrillic, where it would only hide.
bool mayBeJoined(char32_t scalar) {
    constexpr char32_t lastOfCyrillic = 0x52F;
    const auto category = utf8proc_category(codepoint(scalar));
    const bool isMark = category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC;
    const bool isSymbol = category == UTF8PROC_CATEGORY_SO || category == UTF8PROC_CATEGORY_SK;
    return scalar > lastOfCyrillic && (isMark || isSymbol || isLetterOrDigit(scalar));
}

bool isJoiner(char32_t scalar) {
    return scalar == 0x200C || scalar == 0x200D;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// The text without its "+", which the number reader doesn't take; absent when another sign follows.
std::optional<std::string_view> withoutPlus(std::string_view text) {
    if (!text.starts_with('+')) {
        return text;
    }
    text.remove_prefix(1);
    return text.starts_with('-') ? std::nullopt : std::optional(text);
}

} // namespace

std::vector<std::string_view> characters(std::string_view utf8) {
    std::vector<std::string_view> result;
    utf8proc_int32_t previous = 0;
    utf8proc_int32_t state = 0;
    std::size_t start = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        const Scalar scalar = firstScalar(utf8.substr(at));
        if (at > 0 && utf8proc_grapheme_break_stateful(previous, codepoint(scalar.value), &state)) {
            result.push_back(utf8.substr(start, at - start));
            start = at;
        }
        previous = codepoint(scalar.value);
        at += scalar.length;
    }
    if (start < utf8.size()) {
        result.push_back(utf8.substr(start));
    }
    return result;
}

bool isWhitespace(char32_t scalar) {
    if (scalar < 0x80) {
        return isASCIIWhitespace(scalar);
    }
    return isNewline(scalar) || utf8proc_category(codepoint(scalar)) == UTF8PROC_CATEGORY_ZS;
}

bool isNewline(char32_t scalar) {
    return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isControl(char32_t scalar) {
    return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
}

std::string replacingMisleading(std::string_view utf8, const std::function<std::string(char32_t)>& instead) {
    std::string result;
    result.reserve(utf8.size());
    char32_t before = 0;
    while (!utf8.empty()) {
        const auto plain = static_cast<std::size_t>(
            std::ranges::find_if(utf8, [](char c) { return c < ' ' || c >= 0x7F; }) - utf8.begin());
        if (plain > 0) { // most of it, and long replies are cleaned, too
            result += utf8.substr(0, plain);
            before = static_cast<unsigned char>(utf8[plain - 1]);
            utf8.remove_prefix(plain);
            continue;
        }
        const Scalar scalar = firstScalar(utf8);
        const bool joinsNothing = isJoiner(scalar.value) && !mayBeJoined(before);
        if (tessivar::misleading::isOne(scalar.value) || joinsNothing) {
            const auto replacement = instead(scalar.value);
            before = replacement.empty() ? before : 0;
            result += replacement;
        } else {
            append(result, scalar.value);
            before = scalar.value;
        }
        utf8.remove_prefix(scalar.length);
    }
    return result;
}

bool isLetterOrDigit(char32_t scalar) {
    switch (utf8proc_category(codepoint(scalar))) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_ND:
        return true;
    default:
        return false;
    }
}

bool mayStandInHostName(char32_t scalar) {
    constexpr char32_t ideographicStop = 0x3002; // an input method's dot between labels
    constexpr char32_t joiner = 0x200D;          // inside emoji and some scripts
    switch (utf8proc_category(codepoint(scalar))) {
    case UTF8PROC_CATEGORY_MN:
    case UTF8PROC_CATEGORY_MC:
    case UTF8PROC_CATEGORY_SO:
    case UTF8PROC_CATEGORY_SK:
        return true;
    default:
        return isLetterOrDigit(scalar) || scalar == ideographicStop || scalar == joiner;
    }
}

std::string lowercased(std::string_view utf8) {
    std::string result;
    result.reserve(utf8.size());
    while (!utf8.empty()) {
        const Scalar scalar = firstScalar(utf8);
        if (scalar.valid) {
            append(result, static_cast<char32_t>(utf8proc_tolower(codepoint(scalar.value))));
        } else {
            result += utf8.substr(0, scalar.length);
        }
        utf8.remove_prefix(scalar.length);
    }
    return result;
}

bool equalIgnoringASCIICase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trimmed(std::string_view utf8) {
    return trimmedWhere(utf8, isWhitespace);
}

std::string_view trimmedKeepingNewlines(std::string_view utf8) {
    return trimmedWhere(utf8, [](char32_t scalar) { return isWhitespace(scalar) && !isNewline(scalar); });
}

std::optional<std::string> percentDecoded(std::string_view text) {
    auto bytes = percentDecodedBytes(text);
    return bytes && isValid(*bytes) ? bytes : std::nullopt;
}

std::optional<std::string> percentDecodedBytes(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            result += text[at];
            continue;
        }
        const auto byte = at + 2 < text.size() ? hexByte(text[at + 1], text[at + 2]) : std::nullopt;
        if (!byte) {
            return std::nullopt;
        }
        result += static_cast<char>(*byte);
        at += 2;
    }
    return result;
}

std::optional<unsigned char> hexByte(char high, char low) {
    const int h = hexDigit(high);
    const int l = hexDigit(low);
    return h < 0 || l < 0 ? std::nullopt : std::optional(static_cast<unsigned char>(h * 16 + l));
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    const auto digits = withoutPlus(text);
    if (!digits) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const char* end = digits->data() + digits->size();
    const auto [stop, error] = std::from_chars(digits->data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

std::optional<double> decimalNumber(std::string_view text) {
    const auto digits = withoutPlus(text);
    if (!digits) {
        return std::nullopt;
    }
    double value = 0;
    const char* end = digits->data() + digits->size();
    const auto [stop, error] = std::from_chars(digits->data(), end, value);
    return error == std::errc() && stop == end && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::string_view pathExtension(std::string_view name) {
    const std::size_t slash = name.rfind('/');
    if (slash != std::string_view::npos) {
        name.remove_prefix(slash + 1);
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return {};
    }
    const std::string_view extension = name.substr(dot + 1);
    const auto holdsWhitespace = [](std::string_view rest) {
        for (; !rest.empty(); rest.remove_prefix(firstScalar(rest).length)) {
            if (isWhitespace(firstScalar(rest).value)) {
                return true;
            }
        }
        return false;
    };
    return holdsWhitespace(extension) ? std::string_view() : extension;
}

} // namespace fluvane::text
