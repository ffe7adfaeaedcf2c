// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/RuleWords.h"

namespace fluvane::words {

namespace {

/// ".zip, .rar or .7z"
std::string endings(const std::vector<std::string>& extensions) {
    std::string list;
    for (std::size_t i = 0; i < extensions.size(); ++i) {
        const bool last = i + 1 == extensions.size();
        list += i == 0 ? "." : last ? " or ." : ", .";
        list += extensions[i];
    }
    return list;
}

std::string files(const Rule::Kind& match) {
    return std::string(fileKind::name(match.kind));
}

std::string files(const Rule::Extensions& match) {
    return match.extensions.empty() ? "No files: it names no endings"
                                    : "Files ending in " + endings(match.extensions);
}

std::string files(const Rule::Site& match) {
    return match.site.empty() ? "No files: it names no site" : "Everything from " + match.site;
}

} // namespace

std::string rule(const Rule& rule) {
    return std::visit([](const auto& match) { return files(match); }, rule.match);
}

} // namespace fluvane::words
