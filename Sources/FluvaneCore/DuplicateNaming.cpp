// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DuplicateNaming.h"

#include "FluvaneCore/FileName.h"

#include <algorithm>

namespace fluvane::duplicateNaming {

namespace {

struct Style {
    DuplicateNaming style;
    std::string_view rawValue;
    std::string_view before, after; ///< What stands around the number.
    std::int64_t first;
};

constexpr std::array styles = {
    Style{DuplicateNaming::spaceParentheses, "spaceParentheses", " (", ")", 1},
    Style{DuplicateNaming::parentheses, "parentheses", "(", ")", 1},
    Style{DuplicateNaming::hyphen, "hyphen", "-", "", 1},
    Style{DuplicateNaming::underscore, "underscore", "_", "", 1},
    Style{DuplicateNaming::spaceNumber, "spaceNumber", " ", "", 2}, // the first copy is the second file
};

const Style& find(DuplicateNaming style) {
    return styles[static_cast<std::size_t>(style)];
}

} // namespace

std::int64_t first(DuplicateNaming style) {
    return find(style).first;
}

std::string name(DuplicateNaming style, std::string_view stem, std::int64_t number,
                 std::string_view extension) {
    const Style& entry = find(style);
    std::string result(stem);
    return result.append(entry.before).append(std::to_string(number)).append(entry.after).append(extension);
}

std::string example(DuplicateNaming style, std::string_view fileName) {
    const fileName::StemAndExtension parts = fileName::split(fileName);
    return name(style, parts.stem, first(style), parts.extension);
}

std::string_view rawValue(DuplicateNaming style) {
    return find(style).rawValue;
}

std::optional<DuplicateNaming> from(std::string_view rawValue) {
    const auto entry = std::find_if(styles.begin(), styles.end(),
                                    [&](const Style& style) { return style.rawValue == rawValue; });
    return entry == styles.end() ? std::nullopt : std::optional(entry->style);
}

} // namespace fluvane::duplicateNaming
