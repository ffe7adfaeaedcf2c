// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/URL.h"

#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"

#include <curl/curl.h>
#include <idn2.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>

namespace fluvane {

namespace {

namespace ascii = tessivar::ascii;

/// Where a link's text holds what has to be judged and escaped before the transfer library reads it.
struct Frame {
    std::string_view scheme;
    std::optional<std::string_view> authority; ///< Absent without "//".
    std::string_view rest;                     ///< Path, query and fragment.
};

bool isScheme(std::string_view text) {
    return !text.empty() && ascii::isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return ascii::isLetterOrDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

std::optional<Frame> framed(std::string_view text) {
    const std::size_t colon = text.find(':');
    Frame frame{.scheme = text.substr(0, colon), .authority = {}, .rest = {}};
    if (colon == std::string_view::npos || !isScheme(frame.scheme)) {
        return std::nullopt;
    }
    frame.rest = text.substr(colon + 1);
    if (frame.rest.starts_with("//")) {
        const std::size_t end = std::min(frame.rest.find_first_of("/?#", 2), frame.rest.size());
        frame.authority = frame.rest.substr(2, end - 2);
        frame.rest = frame.rest.substr(end);
    }
    return frame;
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

/// Every "%" is a character of its own, and so is every one of `separators`.
std::string encodedWhole(std::string_view text, const char* separators) {
    std::string result;
    for (const char c : text) {
        if (mayStand(c, "") && std::string_view(separators).find(c) == std::string_view::npos) {
            result += c;
        } else {
            appendEscape(result, c);
        }
    }
    return result;
}

/// Path, query and fragment; a "#" in the fragment is its own. Brackets and bars are outside the grammar, but
/// servers hand such links out and sign them as they stand.
std::string encodedRest(std::string_view rest) {
    constexpr std::string_view extra = "[]|?";
    const std::size_t fragment = rest.find('#');
    std::string result = encodedKeepingEscapes(rest.substr(0, fragment), extra);
    if (fragment != std::string_view::npos) {
        result += '#' + encodedKeepingEscapes(rest.substr(fragment + 1), extra);
    }
    return result;
}

bool mayStandInHost(std::string_view host, std::size_t at) {
    const char c = host[at];
    return ascii::isLetterOrDigit(c) || c == '-' || c == '.' || c == '_' || c == '~' || isEscape(host, at);
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

/// A link as the transfer library reads it.
class Reading {
public:
    explicit Reading(const std::string& text)
        : handle_(curl_url(), curl_url_cleanup),
          succeeded_(handle_ && curl_url_set(handle_.get(), CURLUPART_URL, text.c_str(),
                                             CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS) == CURLUE_OK) {}

    /// As it stands in the link, a host decoded; absent when there is none or the library refuses the link.
    [[nodiscard]] std::optional<std::string> part(CURLUPart which) const {
        char* text = nullptr;
        if (!succeeded_ || curl_url_get(handle_.get(), which, &text, 0) || !text) {
            return std::nullopt;
        }
        const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
        return text;
    }

private:
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> handle_;
    bool succeeded_;
};

bool isLocalFile(const Frame& frame) {
    const bool here = !frame.authority || frame.authority->empty() ||
                      text::equalIgnoringASCIICase(*frame.authority, "localhost");
    const auto path = text::percentDecodedBytes(frame.rest.substr(0, frame.rest.find_first_of("?#")));
    return here && frame.rest.starts_with('/') && path && path->find('\0') == std::string::npos;
}

struct Authority {
    std::string credentials; ///< Escaped, with their "@".
    std::string_view host;
    std::string_view port; ///< With its ":"; empty when there is none.
};

Authority cutAuthority(std::string_view text) {
    Authority result;
    const std::size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        result.credentials = encodedKeepingEscapes(text.substr(0, at), "") + "@";
        text.remove_prefix(at + 1);
    }
    const std::size_t colon = text.rfind(':');
    const std::size_t bracket = text.rfind(']');
    const bool hasPort =
        colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket);
    result.host = text.substr(0, hasPort ? colon : std::string_view::npos);
    result.port = hasPort && colon + 1 < text.size() ? text.substr(colon) : std::string_view();
    return result;
}

std::string encoded(const Frame& frame) {
    std::string result = std::string(frame.scheme) + ':';
    if (frame.authority) {
        const auto [credentials, host, port] = cutAuthority(*frame.authority);
        result.append("//").append(credentials).append(host).append(port);
    }
    return result + encodedRest(frame.rest);
}

/// Whether a host is one that no reader could take for another.
bool isPlausibleHost(std::string_view authority) {
    const auto host = cutAuthority(authority).host;
    const bool misleading = authority.find('\\') != std::string_view::npos; // a "/" to some readers
    return !misleading && (host.starts_with('[') || isPlausibleName(host));
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

std::string decodedOrAsIs(std::string_view text) {
    return text::percentDecoded(text).value_or(std::string(text));
}

} // namespace

std::optional<URL> URL::parse(std::string_view text) {
    text = text::trimmed(text);
    const auto frame = text::isValid(text) ? framed(text) : std::nullopt;
    if (!frame) {
        return std::nullopt;
    }
    Origin origin{.scheme = text::lowercased(frame->scheme)};
    const bool isFile = origin.scheme == "file";
    const bool isWeb = origin.scheme == "http" || origin.scheme == "https";
    const bool hasAuthority = frame->authority && !frame->authority->empty();
    if (isFile ? !isLocalFile(*frame) : isWeb && !hasAuthority) {
        return std::nullopt;
    }
    auto whole = encoded(*frame);
    whole.shrink_to_fit();
    if (isFile || !hasAuthority) {
        return URL({.text = std::move(whole), .origin = shared(std::move(origin))});
    }
    const auto host = isPlausibleHost(*frame->authority) ? Reading(whole).part(CURLUPART_HOST) : std::nullopt;
    if (!host) {
        return std::nullopt;
    }
    origin.host = text::lowercased(*host);
    if (auto site = siteName(*origin.host); site != *origin.host) {
        origin.site = std::move(site);
    }
    return URL({.text = std::move(whole), .origin = shared(std::move(origin))});
}

/// Thousands of links may lead to some few sites, which are held once while any of them is there.
std::shared_ptr<const URL::Origin> URL::shared(Origin origin) {
    thread_local std::array<std::weak_ptr<const Origin>, 16> known;
    const auto hash = std::hash<std::string>()(origin.host.value_or(origin.scheme));
    auto& place = known[hash % known.size()];
    if (auto same = place.lock(); same && *same == origin) {
        return same;
    }
    auto made = std::make_shared<const Origin>(std::move(origin));
    place = made;
    return made;
}

std::string URL::origin() const {
    if (!isWeb() || !site()) {
        return {};
    }
    const auto port = Reading(absoluteString()).part(CURLUPART_PORT);
    return scheme() + "://" + *site() + ":" + port.value_or(scheme() == "https" ? "443" : "80");
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
    Parts parts{.origin = shared({.scheme = "file"})};
    parts.text = absolutePath.starts_with('/') ? "file://" : "file:///";
    parts.text += encodedWhole(absolutePath, "");
    return URL(std::move(parts));
}

URL URL::folder(std::string_view absolutePath) {
    URL url = file(absolutePath);
    if (url.absoluteString().ends_with('/')) {
        return url;
    }
    Parts parts = *url.parts_;
    parts.text += '/';
    return URL(std::move(parts));
}

/// The transfer library knows no links without a host and has rules of its own for files, which it never
/// reads: such a location is read as if it had a host.
std::string URL::readable() const {
    if (host()) {
        return absoluteString();
    }
    const auto rest = framed(absoluteString())->rest;
    return (rest.starts_with('/') ? "x://x" : "x://x/") + std::string(rest);
}

std::string URL::path() const {
    const auto encodedForm = Reading(readable()).part(CURLUPART_PATH).value_or("");
    std::string result =
        (isFile() ? text::percentDecodedBytes(encodedForm) : text::percentDecoded(encodedForm))
            .value_or(std::string());
    while (result.size() > 1 && result.ends_with('/')) {
        result.pop_back();
    }
    return result;
}

std::string URL::lastPathComponent() const {
    const auto path = Reading(readable()).part(CURLUPART_PATH).value_or("");
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

std::vector<std::pair<std::string, std::string>> URL::queryItems() const {
    std::vector<std::pair<std::string, std::string>> items;
    const auto query = Reading(readable()).part(CURLUPART_QUERY);
    std::optional<std::string_view> rest = query;
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
    Parts parts = *parts_;
    parts.text.resize(std::min(parts.text.find_first_of("?#"), parts.text.size()));
    if (!parts.text.ends_with('/')) {
        parts.text += '/';
    }
    parts.text += encodedWhole(component, "/");
    return URL(std::move(parts));
}

URL URL::withoutCredentials() const {
    if (!Reading(readable()).part(CURLUPART_USER)) {
        return *this;
    }
    Parts parts = *parts_; // the rest stays as it was given
    const std::size_t begin = parts.text.find("//") + 2;
    parts.text.erase(begin, parts.text.find('@', begin) + 1 - begin);
    return URL(std::move(parts));
}

} // namespace fluvane
