// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Config.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <type_traits>

namespace fluvane {

namespace {

using coding::Json;

/// Forces a number that is too big for its field to the field's edge: numbers are clamped, never refused.
template <class Integer>
Integer saturated(const Json& number) {
    using Limits = std::numeric_limits<Integer>;
    if (number.is_number()) {
        const auto approximate = number.get<double>();
        if (approximate >= static_cast<double>(Limits::max())) {
            return Limits::max();
        }
        if (approximate <= static_cast<double>(Limits::min())) {
            return Limits::min();
        }
    }
    return coding::decode<Integer>(number);
}

/// The value under the key when it is there and not null.
const Json* present(const Json& json, std::string_view key) {
    const Json* value = coding::detail::find(json, key);
    return value && !value->is_null() ? value : nullptr;
}

template <class Field>
void read(const Json& json, std::string_view key, Field& field) {
    if (const auto value = coding::optional<Field>(json, key)) {
        field = *value;
    }
}

template <class Integer, class Field>
void readNumber(const Json& json, std::string_view key, Field& field) {
    const Json* value = present(json, key);
    if (!value) {
        return;
    }
    try {
        field = saturated<Integer>(*value);
    } catch (const coding::DecodingError& error) {
        coding::detail::rethrowUnder(key, error);
    }
}

DuplicateNaming duplicateNames(const Json& json) {
    const Json* value = present(json, "duplicateNames");
    if (!value || !value->is_string()) {
        return duplicateNaming::standard;
    }
    return duplicateNaming::from(value->get_ref<const std::string&>()).value_or(duplicateNaming::standard);
}

/// The rules that can be read, in their order.
std::vector<Rule> readableRules(const Json& json) {
    std::vector<Rule> rules;
    const Json* list = present(json, "rules");
    if (!list || !list->is_array()) {
        return rules;
    }
    for (const Json& element : *list) {
        try {
            rules.push_back(coding::decode<Rule>(element));
        } catch (const coding::DecodingError&) {
            // A broken rule goes by itself; the others and every other setting still count.
        }
    }
    return rules;
}

/// Those that can be read, as with rules.
std::map<std::string, bool> readableSites(const Json& json) {
    std::map<std::string, bool> sites;
    const Json* list = present(json, "offerSites");
    if (list && list->is_object()) {
        for (const auto& [site, isWanted] : list->items()) {
            if (isWanted.is_boolean()) {
                sites.emplace(site, isWanted.get<bool>());
            }
        }
    }
    return sites;
}

} // namespace

void Config::clamp() {
    connections = std::clamp(connections, 1, mostConnections);
    connectionsPerServer = std::clamp(connectionsPerServer, connections, mostConnectionsPerServer);
    simultaneous = std::clamp(simultaneous, 1, mostSimultaneous);
    if (speedLimit) {
        speedLimit = std::max(*speedLimit, leastSpeedLimit);
    }
}

Config Config::everySetting() {
    Config config;
    config.speedLimit = 5'000'000;
    config.folder = "~/Downloads";
    return config;
}

Json Config::encoded() const {
    Json json = Json::object();
    json["connections"] = connections;
    json["connectionsPerServer"] = connectionsPerServer;
    json["simultaneous"] = simultaneous;
    if (speedLimit) {
        json["speedLimit"] = *speedLimit;
    }
    if (folder) {
        json["folder"] = coding::encode(*folder);
    }
    json["duplicateNames"] = duplicateNaming::rawValue(duplicateNames);
    json["rules"] = Json::array();
    for (const Rule& rule : rules) {
        json["rules"].push_back(coding::encode(rule));
    }
    json["keepAwake"] = keepAwake;
    json["waitOnHotspots"] = waitOnHotspots;
    json["notifyWhenDone"] = notifyWhenDone;
    json["detailedLogging"] = detailedLogging;
    json["hasCompletedOnboarding"] = hasCompletedOnboarding;
    json["startOffersAtOnce"] = startOffersAtOnce;
    json["renewLinksByThemselves"] = renewLinksByThemselves;
    json["offerSites"] = Json::object();
    for (const auto& [site, isWanted] : offerSites) {
        json["offerSites"][site] = isWanted;
    }
    return json;
}

Config Config::decoded(const Json& json) {
    Config config;
    readNumber<int>(json, "connections", config.connections);
    readNumber<int>(json, "connectionsPerServer", config.connectionsPerServer);
    readNumber<int>(json, "simultaneous", config.simultaneous);
    readNumber<std::int64_t>(json, "speedLimit", config.speedLimit);
    config.folder = coding::optional<std::string>(json, "folder");
    config.duplicateNames = fluvane::duplicateNames(json);
    config.rules = readableRules(json);
    read(json, "keepAwake", config.keepAwake);
    read(json, "waitOnHotspots", config.waitOnHotspots);
    read(json, "notifyWhenDone", config.notifyWhenDone);
    read(json, "detailedLogging", config.detailedLogging);
    read(json, "hasCompletedOnboarding", config.hasCompletedOnboarding);
    read(json, "startOffersAtOnce", config.startOffersAtOnce);
    read(json, "renewLinksByThemselves", config.renewLinksByThemselves);
    config.offerSites = readableSites(json);
    config.clamp();
    return config;
}

} // namespace fluvane
