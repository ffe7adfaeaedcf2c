// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/WhatsNew.h"

#include "Tessivar/Version.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace tessivar {

namespace {

using Json = nlohmann::json;

constexpr std::size_t longestState = 256;

std::string textOf(const Release& release) {
    auto text = fmt::format("{} {}{}\n", AppIdentity::current.displayName, release.version,
                            release.date.empty() ? "" : " (" + release.date + ")");
    for (const auto& line : release.lines) {
        text += "- " + line + "\n";
    }
    return text;
}

/// The version in the file; absent when there is none, or none that makes sense.
std::optional<Version> lastSeen(const AtomicFile& file) {
    try {
        const auto contents = file.read(longestState);
        return contents ? Version::parse(Json::parse(*contents).at("seen").get<std::string>()) : std::nullopt;
    } catch (const std::exception& error) {
        log::lifecycle.error("couldn't read which version was seen last", error);
        return std::nullopt;
    }
}

bool remember(const AtomicFile& file, const std::string& version) {
    try {
        createFolders(file.path().parent_path(), 0700);
        file.write(Json{{"seen", version}}.dump(2) + "\n");
        return true;
    } catch (const SystemError& error) {
        log::lifecycle.error("couldn't save which version was seen", error);
        return false;
    }
}

} // namespace

WhatsNew::WhatsNew(Options options) : options_(std::move(options)) {}

void WhatsNew::showIfUpdated(const std::function<void(const std::string&)>& show) const {
    const AtomicFile file(options_.stateFile);
    const auto running = Version::parse(options_.version);
    const auto seen = lastSeen(file);
    if (!running || (seen && *running <= *seen) || !remember(file, options_.version)) {
        return;
    }
    if (!seen || !options_.welcomed()) {
        return;
    }
    std::string text;
    for (const auto& release : options_.releases) {
        const auto version = Version::parse(release.version);
        if (version && *version > *seen && *version <= *running) {
            text += (text.empty() ? "" : "\n") + textOf(release);
        }
    }
    if (!text.empty()) {
        show(text);
    }
}

std::string WhatsNew::latest() const {
    const auto running = Version::parse(options_.version);
    const auto known = [&](const Release& release) {
        const auto version = Version::parse(release.version);
        return version && running && *version <= *running;
    };
    const auto newest = std::ranges::find_if(options_.releases, known);
    return newest == options_.releases.end() ? marked("There is nothing to tell about this version.")
                                             : textOf(*newest);
}

} // namespace tessivar
