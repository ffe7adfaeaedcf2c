// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/CookieLine.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace fluvane {

namespace {

/// Tabs part the fields, semicolons the cookies of a request.
bool isPlain(std::string_view text) {
    return std::ranges::none_of(text, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f || byte == ';';
    });
}

std::string_view withoutBrackets(std::string_view domain) {
    const bool isBracketed = domain.starts_with('[') && domain.ends_with(']');
    return isBracketed ? domain.substr(1, domain.size() - 2) : domain;
}

bool isHost(std::string_view text) {
    return !text.empty() && text.front() != '#' && text.find_first_of(" /@") == std::string_view::npos;
}

const char* word(bool value) {
    return value ? "TRUE" : "FALSE";
}

} // namespace

std::optional<std::string> cookieLine(const Cookie& cookie) {
    const auto domain = withoutBrackets(cookie.domain);
    const bool isWhole = isPlain(cookie.name) && isPlain(cookie.value) && isPlain(cookie.domain) &&
                         isPlain(cookie.path) && isHost(domain) && !cookie.name.empty() &&
                         cookie.path.starts_with('/');
    if (!isWhole || cookie.expires.value_or(1) <= 0) {
        return std::nullopt;
    }
    // For a whole top-level domain there are no cookies.
    const bool isBelow = !cookie.hostOnly && domain.find('.') != std::string_view::npos;
    return fmt::format("{}{}{}\t{}\t{}\t{}\t{}\t{}\t{}", cookie.httpOnly ? "#HttpOnly_" : "",
                       isBelow ? "." : "", domain, word(isBelow), cookie.path, word(cookie.secure),
                       cookie.expires.value_or(0), cookie.name, cookie.value);
}

} // namespace fluvane
