// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RuleDraft.h"

#include "FluvaneCore/URL.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/ranges.h>

#include <utility>

namespace fluvane {

using tessivar::phrase;

namespace {

/// A text that no host can be would never fit anything.
bool isHost(const std::string& site) {
    const auto url = URL::parse("https://" + site);
    return url && url->host() == site;
}

} // namespace

RuleDraft RuleDraft::of(const Rule& rule) {
    RuleDraft draft;
    draft.folder = rule.folder;
    if (const auto* kind = std::get_if<Rule::Kind>(&rule.match)) {
        draft.kind = kind->kind;
    } else if (const auto* extensions = std::get_if<Rule::Extensions>(&rule.match)) {
        draft.matches = Matches::extensions;
        draft.extensions = fmt::format("{}", fmt::join(extensions->extensions, ", "));
    } else {
        draft.matches = Matches::site;
        draft.site = std::get<Rule::Site>(rule.match).site;
        draft.connections = rule.connections;
    }
    return draft;
}

std::string RuleDraft::shownExtensions(std::string_view typed) {
    return fmt::format("{}", fmt::join(Rule::extensions(typed), ", "));
}

std::string RuleDraft::shownSite(std::string_view typed) {
    return Rule::site(typed);
}

std::optional<RuleDraft::Problem> RuleDraft::matchProblem() const {
    if (matches == Matches::extensions && Rule::extensions(extensions).empty()) {
        return Problem{Field::extensions, phrase("Say which endings the rule is for, like zip, rar.")};
    }
    if (matches == Matches::site && Rule::site(site).empty()) {
        return Problem{Field::site, phrase("Say which site the rule is for, like example.com.")};
    }
    if (matches == Matches::site && !isHost(Rule::site(site))) {
        return Problem{Field::site,
                       phrase("That isn't a site. Give its name, like example.com, or a link to it.")};
    }
    return std::nullopt;
}

std::optional<RuleDraft::Problem> RuleDraft::problem() const {
    if (auto missing = matchProblem()) {
        return missing;
    }
    if (folder || (connections && matches == Matches::site)) {
        return std::nullopt;
    }
    return Problem{Field::folder, folderHint(matches)};
}

std::string RuleDraft::folderHint(Matches matches) {
    return matches == Matches::site
               ? phrase("Choose a folder, limit the connections, or both. Without a folder, a rule below "
                        "decides where files go.")
               : phrase("Choose the folder that these files go to.");
}

Rule::Match RuleDraft::match() const {
    switch (matches) {
    case Matches::kind:
        return Rule::Kind{kind};
    case Matches::extensions:
        return Rule::Extensions{Rule::extensions(extensions)};
    case Matches::site:
        break;
    }
    return Rule::Site{Rule::site(site)};
}

Rule RuleDraft::rule(std::string id) const {
    const bool limits = matches == Matches::site;
    return {.id = std::move(id),
            .match = match(),
            .folder = folder,
            .connections = limits ? connections : std::nullopt};
}

} // namespace fluvane
