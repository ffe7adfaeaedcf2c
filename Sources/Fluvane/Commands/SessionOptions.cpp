// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/SessionOptions.h"

#include "FluvaneCore/CookieFile.h"
#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <utility>

namespace fluvane {

namespace {

using namespace std::literals;

bool hasControls(std::string_view text) {
    return std::ranges::any_of(text, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t') || byte == 0x7f;
    });
}

/// As in RFC 9110, a token.
bool isHeaderName(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return tessivar::ascii::isLetterOrDigit(c) || "!#$%&'*+-.^_`|~"sv.find(c) != std::string_view::npos;
    });
}

/// Which parts of a file are asked for, of whom and over which connection.
bool isOurs(std::string_view name) {
    static constexpr std::array names = {"accept-encoding"sv,
                                         "connection"sv,
                                         "content-length"sv,
                                         "expect"sv,
                                         "host"sv,
                                         "if-match"sv,
                                         "if-none-match"sv,
                                         "if-modified-since"sv,
                                         "if-range"sv,
                                         "keep-alive"sv,
                                         "range"sv,
                                         "te"sv,
                                         "transfer-encoding"sv,
                                         "trailer"sv,
                                         "upgrade"sv,
                                         "if-unmodified-since"sv,
                                         "proxy-connection"sv,
                                         "content-range"sv,
                                         "http2-settings"sv,
                                         "proxy-authorization"sv};
    return std::ranges::find(names, name) != names.end();
}

} // namespace

bool SessionOptions::areNamed(std::string_view option) {
    static constexpr std::array names = {"--header"sv, "--cookies"sv, "--user-agent"sv, "--referrer"sv};
    return std::ranges::find(names, option) != names.end();
}

std::optional<std::string> SessionOptions::take(std::string_view option, const std::string& value) {
    if (option == "--header") {
        return takeHeader(value);
    }
    if (option == "--cookies") {
        return takeCookies(value);
    }
    if (option == "--referrer") {
        referrer_ = URL::parse(value);
        return referrer_ && referrer_->isWeb() ? std::nullopt
                                               : std::optional("--referrer needs an http or https link."s);
    }
    session_.userAgent = value;
    return hasControls(value) ? std::optional("A user agent can't hold line breaks."s) : std::nullopt;
}

std::optional<std::string> SessionOptions::takeHeader(std::string_view line) {
    const auto colon = line.find(':');
    const auto name = text::trimmed(line.substr(0, colon));
    if (colon == std::string_view::npos || !isHeaderName(name)) {
        return "A header is given as --header \"Name: value\".";
    }
    const auto value = text::trimmed(line.substr(colon + 1));
    if (hasControls(value)) {
        return "A header can't hold line breaks.";
    }
    const auto lower = text::lowercased(name);
    if (lower == "user-agent" || lower == "referer") {
        return "Give that header as "s + (lower == "referer" ? "--referrer." : "--user-agent.");
    }
    if (isOurs(lower)) {
        return "Fluvane sets the header " + std::string(name) + " itself.";
    }
    session_.headers.emplace_back(name, value);
    return std::nullopt;
}

std::optional<std::string> SessionOptions::takeCookies(std::string_view text) {
    auto file = CookieFile::parse(text);
    if (file.wrongLine) {
        return "Line " + std::to_string(*file.wrongLine) +
               " of the cookie file isn't a cookie in the Netscape format.";
    }
    if (file.cookies.empty()) {
        return "There are no cookies in that file.";
    }
    std::ranges::move(file.cookies, std::back_inserter(session_.cookies));
    return std::nullopt;
}

SharedSession SessionOptions::session(const URL& link) const {
    Session session = session_;
    if (session == Session{}) {
        return nullptr;
    }
    session.origin = link.origin();
    return std::make_shared<const Session>(std::move(session));
}

} // namespace fluvane
