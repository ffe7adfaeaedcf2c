// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/CookieFile.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace fluvane {

namespace {

constexpr std::string_view httpOnlyMark = "#HttpOnly_";
using Fields = std::array<std::string_view, 7>;

std::string_view cut(std::string_view& text, char end) {
    const auto at = text.find(end);
    const auto front = text.substr(0, at);
    text = at == std::string_view::npos ? std::string_view() : text.substr(at + 1);
    return front;
}

/// A value that is empty may have lost its tab.
std::optional<Fields> fieldsOf(std::string_view line) {
    const auto tabs = std::ranges::count(line, '\t');
    if (tabs != 6 && tabs != 5) {
        return std::nullopt;
    }
    Fields fields;
    for (auto& field : fields) {
        field = cut(line, '\t');
    }
    return fields;
}

std::optional<bool> flag(std::string_view text) {
    const bool isTrue = text::equalIgnoringASCIICase(text, "true");
    return isTrue || text::equalIgnoringASCIICase(text, "false") ? std::optional(isTrue) : std::nullopt;
}

/// Some write fractions of seconds, or -1 for a cookie that ends with the session, as 0 does.
std::optional<std::int64_t> seconds(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isNumber = error == std::errc() && (end == text.data() + text.size() || *end == '.');
    return isNumber ? std::optional(std::max<std::int64_t>(value, 0)) : std::nullopt;
}

std::optional<Cookie> cookie(std::string_view line) {
    const bool httpOnly = line.starts_with(httpOnlyMark);
    const auto fields = fieldsOf(httpOnly ? line.substr(httpOnlyMark.size()) : line);
    if (!fields || !text::isValid(line)) {
        return std::nullopt;
    }
    auto [domain, below, path, secure, expires, name, value] = *fields;
    const auto isBelow = flag(below);
    const auto isSecure = flag(secure);
    const auto until = seconds(expires);
    domain.remove_prefix(domain.starts_with('.') ? 1 : 0);
    if (!isBelow || !isSecure || !until || domain.empty() || !path.starts_with('/') || name.empty()) {
        return std::nullopt;
    }
    return Cookie{.name = std::string(name),
                  .value = std::string(value),
                  .domain = text::lowercased(domain),
                  .path = std::string(path),
                  .secure = *isSecure,
                  .httpOnly = httpOnly,
                  .hostOnly = !*isBelow,
                  .expires = *until > 0 ? until : std::nullopt};
}

} // namespace

CookieFile CookieFile::parse(std::string_view text) {
    CookieFile file;
    for (std::size_t number = 1; !text.empty(); ++number) {
        auto line = cut(text, '\n');
        line = line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
        const bool isComment = line.starts_with('#') && !line.starts_with(httpOnlyMark);
        if (isComment || text::trimmed(line).empty()) {
            continue;
        }
        auto found = cookie(line);
        if (!found) {
            file.wrongLine = number;
            return file;
        }
        file.cookies.push_back(*std::move(found));
    }
    return file;
}

} // namespace fluvane
