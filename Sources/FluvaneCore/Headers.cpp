// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Headers.h"

#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

namespace fluvane {

namespace {

using TwoParts = std::optional<std::pair<std::string_view, std::string_view>>;

/// The two sides of the first separator, neither of them empty.
TwoParts splitOnce(std::string_view text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos || at == 0 || at + 1 == text.size()) {
        return std::nullopt;
    }
    return std::pair(text.substr(0, at), text.substr(at + 1));
}

std::string withoutPrefix(std::string_view header, const char* prefix) {
    const std::string text = text::lowercased(text::trimmed(header));
    return text.starts_with(prefix) ? text.substr(std::strlen(prefix)) : std::string();
}

// Content-Disposition

struct Parameter {
    std::string name;
    std::string value;
};

void skip(std::string_view& text, std::string_view characters) {
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

std::string takeUntilSemicolon(std::string_view& text) {
    const std::string_view value = text.substr(0, text.find(';'));
    text.remove_prefix(value.size());
    return std::string(text::trimmed(value));
}

/// Reads behind the opening quote; without a closing one the value goes to the end.
std::string takeQuoted(std::string_view& text) {
    std::string value;
    std::size_t at = 0;
    for (; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] == '\\' && at + 1 < text.size()) {
            ++at;
        }
        value += text[at];
    }
    text.remove_prefix(at);
    takeUntilSemicolon(text);
    return value;
}

std::vector<Parameter> parameters(std::string_view text) {
    std::vector<Parameter> result;
    takeUntilSemicolon(text); // the disposition's type
    while (true) {
        skip(text, " \t;");
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) {
            return result;
        }
        std::string name = text::lowercased(text::trimmed(text.substr(0, equals)));
        text.remove_prefix(equals + 1);
        skip(text, " ");
        if (text.starts_with('"')) {
            text.remove_prefix(1);
            result.push_back({std::move(name), takeQuoted(text)});
        } else {
            result.push_back({std::move(name), takeUntilSemicolon(text)});
        }
    }
}

std::string decodedLatin1(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto byte = static_cast<unsigned char>(text[at]);
        if (text[at] == '%' && at + 2 < text.size()) {
            if (const auto escaped = text::hexByte(text[at + 1], text[at + 2])) {
                byte = *escaped;
                at += 2;
            }
        }
        text::append(result, byte);
    }
    return result;
}

/// Decodes charset'language'text.
std::optional<std::string> decodedExtended(std::string_view value) {
    const std::size_t first = value.find('\'');
    const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
    if (second == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string charset = text::lowercased(value.substr(0, first));
    const std::string_view text = value.substr(second + 1);
    if (charset == "utf-8") {
        return text::percentDecoded(text);
    }
    return charset == "iso-8859-1" ? std::optional(decodedLatin1(text)) : std::nullopt;
}

// Retry-After

/// A number that the reader found too big or too small for a double.
double outOfRange(std::string_view digits) {
    const std::size_t exponent = digits.find_first_of("eE");
    const bool small = exponent == std::string_view::npos ? digits.starts_with("0") || digits.starts_with(".")
                                                          : digits.substr(exponent + 1).starts_with('-');
    return small ? 0 : retryAfter::longest;
}

std::optional<double> seconds(std::string_view value) {
    const bool plus = value.starts_with('+') && !value.starts_with("+-");
    const std::string_view digits = plus ? value.substr(1) : value;
    const char* end = digits.data() + digits.size();
    double number = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (digits.empty() || stop != end || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        number = digits.starts_with('-') ? 0 : outOfRange(digits);
    }
    return number;
}

double bounded(double wait) {
    return std::isnan(wait) ? 0 : std::clamp(wait, 0.0, retryAfter::longest);
}

/// The place of an English abbreviation in a run of them, absent when it is none.
std::optional<unsigned> indexOf(std::string_view word, std::string_view abbreviations) {
    for (unsigned i = 0; i * 3 < abbreviations.size(); ++i) {
        if (text::equalIgnoringASCIICase(word, abbreviations.substr(i * 3, 3))) {
            return i;
        }
    }
    return std::nullopt;
}

/// A number of exactly as many digits, within its bounds.
std::optional<int> field(std::string_view digits, int lowest, int highest) {
    if (!std::ranges::all_of(digits, tessivar::ascii::isDigit)) {
        return std::nullopt;
    }
    const auto number = text::wholeNumber(digits);
    return number && *number >= lowest && *number <= highest ? std::optional(static_cast<int>(*number))
                                                             : std::nullopt;
}

/// Seconds since 1970 of "Sun, 06 Nov 1994 08:49:37 GMT", the one form of a date that servers must send. Read
/// by hand: the system's readers take the names of the user's language, and nanoseconds would overflow in
/// 2262.
std::optional<double> httpDate(std::string_view text) {
    using namespace std::chrono;
    constexpr std::string_view shape = "___, __ ___ ____ __:__:__ ___";
    const auto fits = [](char given, char wanted) { return wanted == '_' || wanted == given; };
    if (!std::equal(text.begin(), text.end(), shape.begin(), shape.end(), fits)) {
        return std::nullopt;
    }
    const auto weekdayName = indexOf(text.substr(0, 3), "SunMonTueWedThuFriSat");
    const auto monthName = indexOf(text.substr(8, 3), "JanFebMarAprMayJunJulAugSepOctNovDec");
    const auto dayNumber = field(text.substr(5, 2), 1, 31);
    const auto yearNumber = field(text.substr(12, 4), 1, 9999);
    const auto hour = field(text.substr(17, 2), 0, 23);
    const auto minute = field(text.substr(20, 2), 0, 59);
    const auto second = field(text.substr(23, 2), 0, 60); // a leap second
    const bool universal = text::equalIgnoringASCIICase(text.substr(26), "GMT") ||
                           text::equalIgnoringASCIICase(text.substr(26), "UTC");
    if (!weekdayName || !monthName || !dayNumber || !yearNumber || !hour || !minute || !second ||
        !universal) {
        return std::nullopt;
    }
    const auto date = year(*yearNumber) / month(*monthName + 1) / day(static_cast<unsigned>(*dayNumber));
    if (!date.ok()) {
        return std::nullopt;
    }
    const auto sinceEpoch = sys_days(date).time_since_epoch() + hours(*hour) + minutes(*minute);
    return duration<double>(sinceEpoch + std::chrono::seconds(*second)).count();
}

} // namespace

std::optional<ContentRange> ContentRange::parse(std::string_view header) {
    const std::string text = withoutPrefix(header, "bytes ");
    const auto sides = splitOnce(text, '/');
    const auto ends = sides ? splitOnce(text::trimmed(sides->first), '-') : std::nullopt;
    if (!ends) {
        return std::nullopt;
    }
    const auto first = text::wholeNumber(ends->first);
    const auto last = text::wholeNumber(ends->second);
    const std::string_view length = text::trimmed(sides->second);
    const auto total = text::wholeNumber(length);
    if (!first || !last || *last < *first || (!total && length != "*") || (total && *last >= *total)) {
        return std::nullopt;
    }
    return ContentRange{*first, *last, total};
}

std::optional<std::int64_t> ContentRange::unsatisfiedTotal(std::string_view header) {
    return text::wholeNumber(withoutPrefix(header, "bytes */"));
}

std::optional<std::string> contentDisposition::fileName(std::string_view header) {
    std::optional<std::string> plain;
    std::optional<std::string> extended;
    for (Parameter& parameter : parameters(header)) {
        if (parameter.name == "filename") {
            plain = std::move(parameter.value);
        } else if (parameter.name == "filename*") {
            if (auto decoded = decodedExtended(parameter.value)) {
                extended = std::move(decoded);
            }
        }
    }
    auto& name = extended ? extended : plain;
    return name && !name->empty() ? name : std::nullopt;
}

std::optional<double> retryAfter::delay(std::string_view value, Date now) {
    value = text::trimmed(value);
    if (const auto number = seconds(value)) {
        return bounded(*number);
    }
    const auto date = httpDate(value);
    const std::chrono::duration<double> present = now.time_since_epoch();
    return date ? std::optional(bounded(*date - present.count())) : std::nullopt;
}

std::optional<std::string> Validators::ifRange() const {
    return etag && !etag->starts_with("W/") ? etag : lastModified;
}

bool Validators::differ(const Validators& other) const {
    if (etag && other.etag) {
        return *etag != *other.etag;
    }
    return lastModified && other.lastModified && *lastModified != *other.lastModified;
}

} // namespace fluvane
