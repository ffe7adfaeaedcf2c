// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RuleTrial.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneCore/RuleWords.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>

namespace fluvane {

using tessivar::phrase;
using tessivar::phrases;

namespace {

std::string folderSentence(const std::string& name, const Rule* rule, const URL& place) {
    const auto folder = folderText(place);
    const auto shown = words::oneLine(name);
    return rule ? phrase("%1 goes to %2, by the rule \"%3\".", shown, folder, words::rule(*rule))
                : phrase("%1 goes to %2: no rule chooses a folder for it.", shown, folder);
}

std::string siteSentence(const URL& link, const Config& config) {
    const auto limit = rules::connections(config.rules, link.site());
    const auto site = words::oneLine(*link.host());
    const auto count = std::min(config.connections, limit.value_or(config.connections));
    return limit ? phrases("%2 gets at most %1 connection, by a rule.",
                           "%2 gets at most %1 connections, by a rule.", count, site)
                 : phrases("%2 gets up to %1 connection: no rule limits it.",
                           "%2 gets up to %1 connections: no rule limits it.", count, site);
}

} // namespace

RuleTrial RuleTrial::of(std::string_view typed, const Config& config, const FolderOf& folderOf) {
    const auto place = [&](const Rule* rule) { return folderOf(rule ? rule->folder : config.folder); };
    const std::string_view text = text::trimmed(typed);
    if (text.empty()) {
        return {};
    }
    if (text.find("://") == std::string_view::npos) {
        const auto* rule = rules::folderRule(config.rules, text, std::nullopt);
        return {rule ? rule->id : "", folderSentence(std::string(text), rule, place(rule)), {}};
    }
    const auto link = URL::parse(text);
    if (!link || !link->isWeb() || !link->host()) {
        return {
            {}, phrase("That link can't be downloaded: give one that begins with http:// or https://."), {}};
    }
    const std::string name = fileName::suggested(std::nullopt, *link, std::nullopt);
    const auto* rule = rules::folderRule(config.rules, name, link->site());
    return {rule ? rule->id : "", folderSentence(name, rule, place(rule)), siteSentence(*link, config)};
}

} // namespace fluvane
