// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/URL.h"

#include "FluvaneCore/Text.h"

#include <curl/curl.h>
#include <idn2.h>

#include <algorithm>
#include <array>
#include <memory>

namespace fluvane {

namespace {

/// A link's text cut at its separators; every part is a slice of the text.
struct Cut {
    std::string_view scheme;
    std::optional<std::string_view> authority; ///< Absent without "//".
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;
};

struct Authority {
    std::optional<std::string_view> credentials;
    std::string_view host;
    std::string_view port; ///< Digits; empty when there is none.
};

bool isASCIILetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isASCIIDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isScheme(std::string_view text) {
    return !text.empty() && isASCIILetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return isASCIILetter(c) || isASCIIDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

/// Cuts off and returns what stands behind the first `separator`.
std::optional<std::string_view> cutBehind(std::string_view& text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(at + 1);
    text = text.substr(0, at);
    return rest;
}

std::optional<Cut> cut(std::string_view text) {
    Cut result;
    const std::size_t colon = text.find(':');
    result.scheme = text.substr(0, colon);
    if (colon == std::string_view::npos || !isScheme(result.scheme)) {
        return std::nullopt;
    }
    result.path = text.substr(colon + 1);
    result.fragment = cutBehind(result.path, '#');
    result.query = cutBehind(result.path, '?');
    if (result.path.starts_with("//")) {
        const std::size_t slash = result.path.find('/', 2);
        const std::size_t end = slash == std::string_view::npos ? result.path.size() : slash;
        result.authority = result.path.substr(2, end - 2);
        result.path = result.path.substr(end);
    }
    return result;
}

Authority cutAuthority(std::string_view text) {
    Authority result;
    const std::size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        result.credentials = text.substr(0, at);
        text = text.substr(at + 1);
    }
    result.host = text;
    const std::size_t colon = text.rfind(':');
    const std::size_t bracket = text.rfind(']');
    if (colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket)) {
        result.host = text.substr(0, colon);
        result.port = text.substr(colon + 1);
    }
    return result;
}

bool isEscape(std::string_view text, std::size_t at) {
    return at + 2 < text.size() && text[at] == '%' && text::hexByte(text[at + 1], text[at + 2]);
}

constexpr auto alwaysAllowed = [] {
    std::array<bool, 256> table{};
    for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                         "-._~!$&'()*+,;=:@/")) {
        table[static_cast<unsigned char>(c)] = true;
    }
    return table;
}();

bool mayStand(char c, std::string_view extra) {
    return alwaysAllowed[static_cast<unsigned char>(c)] || extra.find(c) != std::string_view::npos;
}

void appendEscape(std::string& out, char c) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    out += {'%', digits[byte >> 4], digits[byte & 15]};
}

/// Escapes what may not stand in a link and keeps the escapes that are there.
std::string encodedKeepingEscapes(std::string_view text, std::string_view extra) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (mayStand(text[i], extra) || isEscape(text, i)) {
            result += text[i];
        } else {
            appendEscape(result, text[i]);
        }
    }
    return result;
}

std::string encodedPath(std::string_view path, std::string_view extra) {
    std::string result;
    for (const char c : path) {
        if (mayStand(c, extra)) {
            result += c;
        } else {
            appendEscape(result, c);
        }
    }
    return result;
}

// Brackets and bars are outside the grammar, but servers hand such links out and sign them as they stand.
constexpr std::string_view pathExtra = "[]|";
constexpr std::string_view queryExtra = "[]|?";

bool mayStandInHost(std::string_view host, std::size_t at) {
    const char c = host[at];
    return isASCIILetter(c) || isASCIIDigit(c) || c == '-' || c == '.' || c == '_' || c == '~' ||
           isEscape(host, at);
}

/// Names in other scripts pass when they hold no white space, controls or punctuation that could mislead.
bool isPlausibleName(std::string_view host) {
    bool hasLetterOrDigit = false;
    for (std::size_t at = 0; at < host.size();) {
        const text::Scalar scalar = text::firstScalar(host.substr(at));
        if (scalar.value < 0x80 ? !mayStandInHost(host, at) : !text::mayStandInHostName(scalar.value)) {
            return false;
        }
        hasLetterOrDigit = hasLetterOrDigit || text::isLetterOrDigit(scalar.value) || scalar.value >= 0x80;
        at += scalar.length;
    }
    return hasLetterOrDigit;
}

/// The host as the transfer library reads it, lower case; absent when it refuses the link.
std::optional<std::string> hostOf(const std::string& text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> handle(curl_url(), curl_url_cleanup);
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME)) {
        return std::nullopt;
    }
    char* host = nullptr;
    if (curl_url_get(handle.get(), CURLUPART_HOST, &host, 0) || !host) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(host, curl_free);
    return text::lowercased(host);
}

bool isLocalFile(const Cut& parts) {
    const bool here = !parts.authority || parts.authority->empty() ||
                      text::equalIgnoringASCIICase(*parts.authority, "localhost");
    const auto path = text::percentDecodedBytes(parts.path);
    return here && parts.path.starts_with('/') && path && path->find('\0') == std::string::npos;
}

std::string encodedAuthority(const Authority& authority) {
    std::string result;
    if (authority.credentials) {
        result = encodedKeepingEscapes(*authority.credentials, "") + "@";
    }
    result += authority.host;
    if (!authority.port.empty()) {
        result.append(":").append(authority.port);
    }
    return result;
}

std::string encoded(const Cut& parts) {
    std::string result(parts.scheme);
    result += ':';
    if (parts.authority) {
        result += "//" + encodedAuthority(cutAuthority(*parts.authority));
    }
    result += encodedKeepingEscapes(parts.path, pathExtra);
    if (parts.query) {
        result += '?' + encodedKeepingEscapes(*parts.query, queryExtra);
    }
    if (parts.fragment) {
        result += '#' + encodedKeepingEscapes(*parts.fragment, queryExtra);
    }
    return result;
}

std::string_view defaultPort(std::string_view scheme) {
    return scheme == "https" ? "443" : scheme == "http" ? "80" : "";
}

std::string decodedOrAsIs(std::string_view text) {
    return text::percentDecoded(text).value_or(std::string(text));
}

} // namespace

std::optional<URL> URL::parse(std::string_view text) {
    text = text::trimmed(text);
    const auto parts = text::isValid(text) ? cut(text) : std::nullopt;
    if (!parts) {
        return std::nullopt;
    }
    URL url;
    url.scheme_ = text::lowercased(parts->scheme);
    const bool hasAuthority = parts->authority && !parts->authority->empty();
    if (url.isFile() ? !isLocalFile(*parts) : url.isWeb() && !hasAuthority) {
        return std::nullopt;
    }
    url.text_ = encoded(*parts);
    if (url.isFile() || !hasAuthority) {
        return url;
    }
    const std::string_view host = cutAuthority(*parts->authority).host;
    const bool misleading = parts->authority->find('\\') != std::string_view::npos; // a "/" to some readers
    if (!misleading && (host.starts_with('[') || isPlausibleName(host))) {
        url.host_ = hostOf(url.text_);
    }
    if (!url.host_) {
        return std::nullopt;
    }
    if (auto site = siteName(*url.host_); site != *url.host_) {
        url.site_ = std::move(site);
    }
    return url;
}

std::string URL::siteName(const std::string& host) {
    if (std::ranges::all_of(host, [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        return host;
    }
    // The transfer library's own way, except that it takes text to be in the locale's encoding.
    for (const int way : {IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL, IDN2_NFC_INPUT | IDN2_TRANSITIONAL}) {
        char* name = nullptr;
        if (idn2_to_ascii_8z(host.c_str(), &name, way) == IDN2_OK) {
            const std::unique_ptr<char, decltype(&idn2_free)> owner(name, idn2_free);
            return name;
        }
    }
    return host;
}

URL URL::file(std::string_view absolutePath) {
    absolutePath = absolutePath.substr(0, absolutePath.find('\0'));
    URL url;
    url.scheme_ = "file";
    url.text_ = absolutePath.starts_with('/') ? "file://" : "file:///";
    url.text_ += encodedPath(absolutePath, "");
    return url;
}

URL URL::folder(std::string_view absolutePath) {
    URL url = file(absolutePath);
    if (!url.text_.ends_with('/')) {
        url.text_ += '/';
    }
    return url;
}

std::string URL::path() const {
    const std::string_view encodedForm = cut(text_)->path;
    std::string result =
        (isFile() ? text::percentDecodedBytes(encodedForm) : text::percentDecoded(encodedForm))
            .value_or(std::string());
    while (result.size() > 1 && result.ends_with('/')) {
        result.pop_back();
    }
    return result;
}

std::string URL::lastPathComponent() const {
    const std::string_view path = cut(text_)->path;
    return std::string(path.substr(path.rfind('/') + 1)); // npos + 1 is 0
}

std::vector<std::pair<std::string, std::string>> URL::queryItems() const {
    std::vector<std::pair<std::string, std::string>> items;
    auto rest = cut(text_)->query;
    while (rest) {
        std::string_view item = *rest;
        rest = cutBehind(item, '&');
        if (!item.empty()) {
            const std::string_view value = cutBehind(item, '=').value_or(std::string_view());
            items.emplace_back(decodedOrAsIs(item), decodedOrAsIs(value));
        }
    }
    return items;
}

URL URL::appending(std::string_view component) const {
    Cut parts = *cut(text_);
    parts.query.reset();
    parts.fragment.reset();
    URL result = *this;
    result.text_ = encoded(parts);
    if (!result.text_.ends_with('/')) {
        result.text_ += '/';
    }
    for (const char c : component) {
        if (c != '/' && mayStand(c, "")) {
            result.text_ += c;
        } else {
            appendEscape(result.text_, c);
        }
    }
    return result;
}

URL URL::withoutCredentials() const {
    Cut parts = *cut(text_);
    URL result = *this;
    if (parts.authority) {
        parts.authority = parts.authority->substr(parts.authority->rfind('@') + 1);
        result.text_ = encoded(parts);
    }
    return result;
}

std::string URL::server() const {
    if (!site()) {
        return {};
    }
    std::string port(cutAuthority(*cut(text_)->authority).port);
    if (const auto number = text::wholeNumber(port)) {
        port = std::to_string(*number);
    } else {
        port = defaultPort(scheme_);
    }
    return port.empty() ? *site() : *site() + ":" + port;
}

} // namespace fluvane
