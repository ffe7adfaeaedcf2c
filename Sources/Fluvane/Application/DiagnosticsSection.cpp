// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/DiagnosticsSection.h"

#include "FluvaneCore/StateName.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Scrubber.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <variant>

namespace fluvane {

namespace {

using Json = coding::Json;

constexpr std::ptrdiff_t mostDownloads = 500;

/// "4.2 of 10 GB", "4.2 GB" while the size isn't known.
std::string sizeText(std::int64_t done, std::optional<std::int64_t> size) {
    auto doneText = words::bytes(done);
    if (!size) {
        return doneText;
    }
    auto whole = words::bytes(*size);
    if (done == *size) {
        return whole;
    }
    const auto blank = doneText.find(' ');
    const bool sameUnit = doneText.substr(blank) == whole.substr(whole.find(' '));
    return fmt::format("{} of {}", sameUnit ? doneText.substr(0, blank) : doneText, whole);
}

/// A failure's sentence may name the server, which may be called anything.
std::string scrubbed(const std::string& reason, const DownloadRecord& record,
                     std::vector<std::string> privateWords) {
    privateWords.push_back(record.url.host().value_or(""));
    privateWords.push_back(record.finalURL.value_or(record.url).host().value_or(""));
    return tessivar::Scrubber(std::move(privateWords)).scrubbed(reason);
}

std::string line(const Download& download, const std::vector<std::string>& privateWords) {
    const auto& record = download.record;
    auto text = fmt::format("{}: {}", record.id, stateName(record.state));
    if (const auto done = download.liveBytes(); done > 0 || record.size) {
        text += ", " + sizeText(done, record.size);
    }
    if (const auto connections = download.connections(); connections > 0) {
        text += ", " + words::connections(connections);
    }
    if (const auto* const reason = record.state.failure()) {
        text += fmt::format(" ({})", scrubbed(*reason, record, privateWords));
    }
    return text + "\n";
}

std::string downloadsText(const std::vector<const Download*>& downloads) {
    const tessivar::InEnglish english; // for whoever gets the report
    const auto privateWords = tessivar::namesOfUserAndHost();
    const auto count = std::ssize(downloads);
    const auto left = std::max<std::ptrdiff_t>(count - mostDownloads, 0);
    auto text = left > 0 ? fmt::format("{} older ones, and\n", left) : std::string();
    for (auto next = downloads.begin() + left; next != downloads.end(); ++next) {
        text += line(**next, privateWords);
    }
    return text.empty() ? "None.\n" : text;
}

Json matchText(const Rule& rule) {
    if (const auto* const kind = std::get_if<Rule::Kind>(&rule.match)) {
        return std::string(fileKind::rawValue(kind->kind));
    }
    return std::holds_alternative<Rule::Site>(rule.match) ? "a site" : "extensions";
}

Json ruleText(const Rule& rule) {
    Json json = {{"match", matchText(rule)}, {"choosesFolder", rule.folder.has_value()}};
    if (rule.connections) {
        json["connections"] = *rule.connections;
    }
    return json;
}

/// Switches and numbers pass. Of texts only what is known to be nobody's words does, so that a setting that
/// is added one day isn't told by mistake.
std::string settingsText(const Config& config) {
    Json shown = Json::object();
    const Json settings = config.encoded();
    for (const auto& [key, value] : settings.items()) {
        if (value.is_boolean() || value.is_number()) {
            shown[key] = value;
        }
    }
    shown["choosesFolder"] = config.folder.has_value();
    shown["duplicateNames"] = duplicateNaming::rawValue(config.duplicateNames);
    shown["rules"] = Json::array();
    std::ranges::transform(config.rules, std::back_inserter(shown["rules"]), ruleText);
    return shown.dump(2) + "\n";
}

} // namespace

std::vector<tessivar::Diagnostics::Section> diagnosticsSections(const std::vector<const Download*>& downloads,
                                                                const Config& config) {
    return {{.title = "Settings", .text = settingsText(config)},
            {.title = "Downloads", .text = downloadsText(downloads)}};
}

} // namespace fluvane
