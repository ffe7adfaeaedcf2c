// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/RuleWords.h"

#include "TessivarPhrases/Phrases.h"

namespace fluvane::words {

using tessivar::phrase;
using tessivar::phraseIn;

namespace {

/// ".zip, .rar or .7z"
std::string endings(const std::vector<std::string>& extensions) {
    std::string list = "." + extensions.front();
    for (std::size_t i = 1; i + 1 < extensions.size(); ++i) {
        // Translators: a list of endings of file names, ".zip, .rar or .7z".
        list = phraseIn("endings", "%1, %2", list, "." + extensions[i]);
    }
    return extensions.size() > 1 ? phraseIn("endings", "%1 or %2", list, "." + extensions.back()) : list;
}

std::string files(const Rule::Kind& match) {
    return phrase(fileKind::name(match.kind));
}

std::string files(const Rule::Extensions& match) {
    return match.extensions.empty() ? phrase("No files: it names no endings")
                                    : phrase("Files ending in %1", endings(match.extensions));
}

std::string files(const Rule::Site& match) {
    return match.site.empty() ? phrase("No files: it names no site")
                              : phrase("Everything from %1", match.site);
}

} // namespace

std::string rule(const Rule& rule) {
    return std::visit([](const auto& match) { return files(match); }, rule.match);
}

} // namespace fluvane::words
