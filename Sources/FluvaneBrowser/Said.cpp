// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Said.h"

#include "Fluvane/Client/ControlSocket.h"
#include "FluvaneCore/Coding.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/URL.h"
#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace fluvane::browser {

namespace {

using coding::DecodingError;
using coding::Json;

constexpr std::size_t longestName = 64;
constexpr std::size_t longestLink = 65536;
constexpr std::size_t longestText = 1024;
constexpr std::size_t mostLinks = 1000;
constexpr std::size_t mostCookies = 300;
constexpr std::size_t mostCookieBytes = 65536;

void need(bool holds) {
    if (!holds) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "It makes no sense.");
    }
}

bool isNameLike(std::string_view name) {
    return !name.empty() && name.size() <= longestName &&
           std::ranges::all_of(name, [](char c) { return tessivar::ascii::isLetterOrDigit(c) || c == '-'; });
}

std::string named(const Json& message, std::string_view key) {
    auto name = coding::required<std::string>(message, key);
    need(isNameLike(name));
    return name;
}

/// A header, a line of a file or of a log may be made of it.
std::string plain(std::string text, std::size_t longest, std::string_view without = {}) {
    need(text.size() <= longest && text.find_first_of(without) == std::string::npos);
    need(std::ranges::none_of(text::scalars(text), text::isControl));
    return text;
}

std::string link(const std::string& text) {
    const auto url = URL::parse(plain(text, longestLink));
    need(url && url->isWeb() && url->absoluteString().size() <= longestLink);
    return url->absoluteString();
}

Json links(const Json& message) {
    const auto* const list = coding::detail::find(message, "links");
    need(list && list->is_array() && !list->empty() && list->size() <= mostLinks);
    Json checked = Json::array();
    for (const auto& one : *list) {
        checked.push_back(link(coding::decode<std::string>(one)));
    }
    return checked;
}

std::string domain(const Json& cookie) {
    auto host = plain(coding::required<std::string>(cookie, "domain"), 255, "/;,@\\ \"");
    need(!host.empty());
    return host;
}

std::string path(const Json& cookie) {
    auto text = plain(coding::required<std::string>(cookie, "path"), 4096, ";");
    need(text.starts_with('/'));
    return text;
}

Json cookie(const Json& given) {
    Json checked;
    checked["name"] = plain(coding::required<std::string>(given, "name"), 4096, "=; ");
    checked["value"] = plain(coding::required<std::string>(given, "value"), mostCookieBytes, ";");
    checked["domain"] = domain(given);
    checked["path"] = path(given);
    for (const char* flag : {"secure", "httpOnly", "hostOnly"}) {
        checked[flag] = coding::required<bool>(given, flag);
    }
    if (const auto* const date = coding::detail::find(given, "expirationDate"); date && !date->is_null()) {
        need(date->is_number() && std::isfinite(date->get<double>()));
        checked["expirationDate"] = date->get<double>();
    }
    return checked;
}

std::size_t bytes(const Json& checked) {
    std::size_t count = 0;
    for (const char* key : {"name", "value", "domain", "path"}) {
        count += checked[key].get_ref<const std::string&>().size();
    }
    return count;
}

Json cookies(const Json& list) {
    need(list.is_array() && list.size() <= mostCookies);
    Json checked = Json::array();
    std::size_t all = 0;
    for (const auto& one : list) {
        checked.push_back(cookie(one));
        all += bytes(checked.back());
    }
    need(all <= mostCookieBytes);
    return checked;
}

/// A file's name as the browser has it, never a path.
std::string fileName(std::string text) {
    auto name = plain(std::move(text), longestText, "/");
    need(name != "." && name != "..");
    return name;
}

void addWhatIsKnown(const Json& message, Json& offer) {
    if (const auto referrer = coding::optional<std::string>(message, "referrer")) {
        offer["referrer"] = link(*referrer);
    }
    if (auto agent = coding::optional<std::string>(message, "userAgent")) {
        offer["userAgent"] = plain(std::move(*agent), longestText);
    }
    if (const auto size = coding::optional<std::int64_t>(message, "size")) {
        need(*size >= 0);
        offer["size"] = *size;
    }
    if (auto kind = coding::optional<std::string>(message, "mime")) {
        offer["mime"] = plain(std::move(*kind), longestText);
    }
    if (auto name = coding::optional<std::string>(message, "name")) {
        offer["name"] = fileName(std::move(*name));
    }
    if (const auto* const list = coding::detail::find(message, "cookies"); list && !list->is_null()) {
        offer["cookies"] = cookies(*list);
    }
}

/// Without "type" and "offer", which are between the extension and the host.
Json checkedOffer(const Json& message) {
    const auto by = coding::required<std::string>(message, "by");
    need(by == "browser" || by == "menu");
    Json offer;
    offer["by"] = by;
    if (by == "menu" && coding::detail::find(message, "links")) {
        offer["links"] = links(message);
    } else {
        offer["link"] = link(coding::required<std::string>(message, "link"));
        const auto last = coding::optional<std::string>(message, "finalLink");
        need(last || by == "menu");
        offer["finalLink"] = last ? link(*last) : offer["link"].get<std::string>();
    }
    addWhatIsKnown(message, offer);
    return offer;
}

Said offered(const Json& message) {
    auto name = named(message, "offer");
    try {
        auto request = checkedOffer(message).dump();
        need(Json{"--offer", request}.dump().size() <= controlSocket::requestLimit);
        return Offered{.offer = std::move(name), .request = std::move(request)};
    } catch (const DecodingError&) {
        return Senseless{std::move(name)};
    }
}

std::optional<Said> read(const Json& message) {
    const auto type = coding::required<std::string>(message, "type");
    if (type == "offer") {
        return offered(message);
    }
    if (type == "verdict") {
        return Verdict{.offer = named(message, "offer"),
                       .token = named(message, "token"),
                       .canceled = coding::required<bool>(message, "canceled")};
    }
    if (type == "withdraw") {
        return Withdrawn{named(message, "offer")};
    }
    if (type == "status") {
        return StatusAsked{};
    }
    return std::nullopt;
}

} // namespace

std::optional<Said> understand(std::string_view message) {
    try {
        return read(coding::parse(message));
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

} // namespace fluvane::browser
