// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"

#include <algorithm>

namespace fluvane::words {

namespace {

bool mayMislead(char32_t scalar) {
    return text::isControl(scalar) || text::isNewline(scalar) || text::turnsDirection(scalar);
}

} // namespace

std::string oneLine(std::string_view text) {
    const bool plain = std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7F; });
    if (plain) {
        return std::string(text);
    }
    auto scalars = text::scalars(text);
    std::ranges::replace_if(scalars, mayMislead, U'\uFFFD');
    return text::utf8(scalars);
}

} // namespace fluvane::words
