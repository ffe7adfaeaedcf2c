// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"

#include <algorithm>

namespace fluvane::words {

namespace {

/// Embeddings, overrides and isolates.
bool turnsDirection(char32_t scalar) {
    return (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
}

bool mayMislead(char32_t scalar) {
    return text::isControl(scalar) || text::isNewline(scalar) || turnsDirection(scalar);
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
