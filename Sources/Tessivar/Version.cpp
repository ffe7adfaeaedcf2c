// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Version.h"

#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <utility>

namespace tessivar {

namespace {

constexpr std::size_t longest = 64;

bool isNumber(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, ascii::isDigit);
}

bool isIdentifier(std::string_view text) {
    const auto allowed = [](char c) { return ascii::isLetterOrDigit(c) || c == '-'; };
    return !text.empty() && std::ranges::all_of(text, allowed);
}

std::string withoutLeadingZeros(std::string_view number) {
    const auto first = number.find_first_not_of('0');
    return first == std::string_view::npos ? std::string() : std::string(number.substr(first));
}

std::vector<std::string_view> split(std::string_view text) {
    std::vector<std::string_view> parts;
    while (true) {
        const auto point = text.find('.');
        parts.push_back(text.substr(0, point));
        if (point == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(point + 1);
    }
}

/// Numbers of any length, so that none overflows.
std::strong_ordering compareNumbers(const std::string& one, const std::string& other) {
    const auto lengths = one.size() <=> other.size();
    return lengths != 0 ? lengths : one <=> other;
}

/// Numbers come before words.
std::strong_ordering compareIdentifiers(const std::string& one, const std::string& other) {
    if (isNumber(one) && isNumber(other)) {
        return compareNumbers(withoutLeadingZeros(one), withoutLeadingZeros(other));
    }
    const auto kinds = isNumber(other) <=> isNumber(one);
    return kinds != 0 ? kinds : one <=> other;
}

template <class Compare>
std::strong_ordering compareLists(const std::vector<std::string>& one, const std::vector<std::string>& other,
                                  Compare compare) {
    for (std::size_t index = 0; index < std::min(one.size(), other.size()); ++index) {
        if (const auto order = compare(one[index], other[index]); order != 0) {
            return order;
        }
    }
    return one.size() <=> other.size();
}

} // namespace

std::optional<Version> Version::parse(std::string_view text) {
    if (text.size() > longest) {
        return std::nullopt;
    }
    if (text.starts_with('v')) {
        text.remove_prefix(1);
    }
    text = text.substr(0, text.find('+'));
    const auto dash = text.find('-');
    Version version;
    for (const auto part : split(text.substr(0, dash))) {
        if (!isNumber(part)) {
            return std::nullopt;
        }
        version.numbers_.push_back(withoutLeadingZeros(part));
    }
    while (!version.numbers_.empty() && version.numbers_.back().empty()) {
        version.numbers_.pop_back();
    }
    if (dash == std::string_view::npos) {
        return version;
    }
    for (const auto part : split(text.substr(dash + 1))) {
        if (!isIdentifier(part)) {
            return std::nullopt;
        }
        version.preRelease_.emplace_back(part);
    }
    return version;
}

std::strong_ordering operator<=>(const Version& one, const Version& other) {
    if (const auto order = compareLists(one.numbers_, other.numbers_, compareNumbers); order != 0) {
        return order;
    }
    if (one.isPreRelease() != other.isPreRelease()) {
        return one.isPreRelease() ? std::strong_ordering::less : std::strong_ordering::greater;
    }
    return compareLists(one.preRelease_, other.preRelease_, compareIdentifiers);
}

} // namespace tessivar
