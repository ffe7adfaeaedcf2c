// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/BrowserOffer.h"

#include "FluvaneCore/Objections.h"
#include "FluvaneCore/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <utility>

namespace fluvane {

namespace {

using Json = nlohmann::json;

constexpr std::size_t mostLinks = 1000;
constexpr std::size_t mostCookies = 300;

/// Text without line ends and other controls, which could begin a header of its own.
std::optional<std::string> plainText(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) {
        return std::nullopt;
    }
    const auto& value = found->get_ref<const std::string&>();
    const bool hasControls =
        std::ranges::any_of(value, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
    return hasControls ? std::nullopt : std::optional(value);
}

std::optional<URL> webLink(const std::optional<std::string>& text) {
    if (!text || text->size() > words::longestLink) {
        return std::nullopt;
    }
    auto link = URL::parse(*text);
    return link && link->isWeb() ? link : std::nullopt;
}

bool flag(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

std::optional<std::int64_t> wholeNumber(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number()) {
        return std::nullopt;
    }
    constexpr double most = 9e15;
    const auto value = found->get<double>();
    return value >= 0 && value < most ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

std::optional<Cookie> cookie(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto name = plainText(json, "name");
    const auto value = plainText(json, "value");
    auto domain = plainText(json, "domain");
    if (!name || !value || !domain || domain->empty()) {
        return std::nullopt;
    }
    const bool isDotted = domain->front() == '.';
    return Cookie{.name = *name,
                  .value = *value,
                  .domain = text::lowercased(domain->substr(isDotted ? 1 : 0)),
                  .path = plainText(json, "path").value_or("/"),
                  .secure = flag(json, "secure"),
                  .httpOnly = flag(json, "httpOnly"),
                  .hostOnly = flag(json, "hostOnly") && !isDotted,
                  .expires = wholeNumber(json, "expirationDate")};
}

SharedSession session(const Json& json, const URL& link) {
    Session session{.userAgent = plainText(json, "userAgent"), .origin = link.origin()};
    const auto cookies = json.find("cookies");
    if (cookies != json.end() && cookies->is_array() && cookies->size() <= mostCookies) {
        for (const Json& each : *cookies) {
            if (auto one = cookie(each)) {
                session.cookies.push_back(std::move(*one));
            }
        }
    }
    const bool isNobody = session.cookies.empty() && !session.userAgent;
    return isNobody ? nullptr : std::make_shared<const Session>(std::move(session));
}

std::vector<URL> links(const Json& json) {
    std::vector<URL> found;
    if (const auto one = webLink(plainText(json, "link"))) {
        found.push_back(*one);
    }
    const auto several = json.find("links");
    if (found.empty() && several != json.end() && several->is_array() && several->size() <= mostLinks) {
        for (const Json& each : *several) {
            if (const auto link = webLink(plainText(Json{{"link", each}}, "link"))) {
                found.push_back(*link);
            }
        }
    }
    return found;
}

} // namespace

std::optional<BrowserOffer> BrowserOffer::parse(std::string_view text) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    BrowserOffer offer{.links = fluvane::links(json)};
    if (offer.links.empty()) {
        return std::nullopt;
    }
    offer.byPerson = plainText(json, "by") == "menu";
    if (offer.links.size() > 1 && !offer.byPerson) {
        return std::nullopt;
    }
    offer.finalLink = webLink(plainText(json, "finalLink"));
    offer.referrer = webLink(plainText(json, "referrer"));
    offer.session = fluvane::session(json, offer.links.front());
    offer.size = wholeNumber(json, "size");
    offer.type = plainText(json, "mime");
    offer.name = plainText(json, "name");
    return offer;
}

std::string BrowserOffer::site() const {
    return (referrer ? *referrer : links.front()).site().value_or("");
}

} // namespace fluvane
