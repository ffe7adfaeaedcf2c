// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/SettingsFile.h"

#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>

namespace tessivar {

namespace {

using Json = SettingsFile::Json;

constexpr std::size_t longestFile = 16UL * 1024UL * 1024UL;
constexpr int deepest = 100;

constexpr const char* settingsKey = "settings";
constexpr const char* applicationKey = "application";

Json parsed(const std::string& text) {
    bool tooDeep = false;
    const auto watchDepth = [&](int depth, Json::parse_event_t, Json&) {
        return !(tooDeep |= depth > deepest);
    };
    auto json = Json::parse(text, watchDepth, /* allow_exceptions */ false);
    if (tooDeep || json.is_discarded()) {
        throw std::runtime_error("It isn't JSON.");
    }
    return json;
}

/// The settings in a file's text.
Json settingsIn(const std::string& text) {
    const auto envelope = parsed(text);
    const auto found = envelope.is_object() ? envelope.find(settingsKey) : envelope.end();
    if (found == envelope.end() || !found->is_object()) {
        throw std::runtime_error(kept("kept", "It holds no settings."));
    }
    const auto& ours = AppIdentity::current.displayName;
    const auto application = envelope.value(applicationKey, Json());
    if (application.is_string() && !ours.empty() && application != ours) {
        throw std::runtime_error(kept("kept", "It holds the settings of another application."));
    }
    return *found;
}

void eraseKnown(Json& settings, const Json& known) {
    for (const auto& [key, value] : known.items()) {
        settings.erase(key);
    }
}

std::runtime_error failure(const char* pattern, const std::filesystem::path& path,
                           const std::string& description) {
    return std::runtime_error(kept("kept", pattern, path.string(), description));
}

} // namespace

SettingsFile::SettingsFile(std::filesystem::path path, std::string built)
    : file_(std::move(path)), built_(std::move(built)), unknown_(std::make_unique<Json>(Json::object())) {}

SettingsFile::~SettingsFile() = default;

void SettingsFile::load(const Json& everySetting, const Decode& decode) {
    std::optional<std::string> contents;
    try {
        contents = file_.read(longestFile);
    } catch (const SystemError& error) {
        setAside(error.what(), false);
        return;
    }
    if (!contents) {
        return;
    }
    try {
        take(*contents, everySetting, decode);
    } catch (const std::exception& error) {
        setAside(error.what(), true);
    }
}

void SettingsFile::take(const std::string& contents, const Json& everySetting, const Decode& decode) {
    auto settings = settingsIn(contents);
    decode(settings);
    eraseKnown(settings, everySetting);
    *unknown_ = std::move(settings);
    contents_ = contents;
}

bool SettingsFile::reload(const Json& everySetting, const Decode& decode) {
    refused_.reset();
    try {
        const auto contents = file_.read(longestFile);
        if (!contents) {
            return false; // on its way, or deleted: what is in force is saved with the next change
        }
        refused_ = contents;
        const bool changed = contents != contents_;
        if (changed) {
            take(*contents, everySetting, decode);
        }
        refused_.reset();
        problem_.clear();
        return changed;
    } catch (const std::exception& error) {
        refuse(error.what());
        return false;
    }
}

void SettingsFile::refuse(const std::string& description) {
    const auto problem = "Couldn't read the edited settings, so those from before stay: " + description;
    if (problem != problem_) {
        log::lifecycle.error("couldn't read the edited settings: " + description);
    }
    problem_ = problem;
}

void SettingsFile::setAside(const std::string& description, bool readable) {
    log::lifecycle.error("couldn't read the settings: " + description);
    // What can't even be read may be whole: it must not be the next save's victim.
    const bool moved = readable ? file_.setAside() : file_.setAsideNumbered();
    problem_ = fmt::format("Couldn't read the settings, so the standard ones are used{}: {}",
                           moved ? " and the file was renamed to end in .unreadable" : "", description);
}

/// Of what can't be used nothing is lost, since somebody may have worked on it.
void SettingsFile::spareEdits() const {
    bool spoilt = false;
    try {
        spoilt = refused_ && file_.read(longestFile) == refused_;
    } catch (const SystemError&) {
        std::error_code none;
        spoilt = std::filesystem::is_regular_file(file_.path(), none);
    }
    if (spoilt) {
        file_.setAsideNumbered();
    }
}

void SettingsFile::save(const Json& settings) {
    const auto contents = text(settings, false);
    try {
        createFolders(file_.path().parent_path(), 0700);
        spareEdits();
        file_.write(contents);
    } catch (const SystemError& error) {
        log::lifecycle.error("couldn't save the settings", error);
        throw std::runtime_error(fmt::format("Couldn't save the settings: {}", error.what()));
    }
    contents_ = contents;
    refused_.reset();
    problem_.clear();
}

std::string SettingsFile::exportText(const Json& settings) const {
    return text(settings, true);
}

void SettingsFile::exportTo(const std::filesystem::path& path, const Json& settings) const {
    try {
        AtomicFile(path).write(exportText(settings), 0644);
    } catch (const SystemError& error) {
        throw failure(markedIn("kept", "Couldn't write %1: %2"), path, error.what());
    }
}

void SettingsFile::importFrom(const std::filesystem::path& path, const Json& everySetting,
                              const Decode& decode, const std::function<Json()>& encode) {
    auto unknown = Json::object();
    try {
        const auto contents = AtomicFile(path).read(longestFile);
        if (!contents) {
            throw SystemError(ENOENT);
        }
        unknown = settingsIn(*contents);
        decode(unknown);
        eraseKnown(unknown, everySetting);
    } catch (const std::exception& error) {
        throw failure(markedIn("kept", "Couldn't read %1: %2"), path, error.what());
    }
    std::swap(*unknown_, unknown);
    try {
        save(encode());
    } catch (const std::exception&) {
        std::swap(*unknown_, unknown);
        throw;
    }
}

std::string SettingsFile::text(const Json& settings, bool exporting) const {
    Json envelope;
    envelope[applicationKey] = AppIdentity::current.displayName;
    envelope["version"] = AppIdentity::current.version;
    if (!built_.empty()) {
        envelope["built"] = built_;
    }
    if (exporting) {
        const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        envelope["exported"] = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(now));
    }
    auto& all = envelope[settingsKey] = settings;
    for (const auto& [key, value] : unknown_->items()) {
        all[key] = value;
    }
    return envelope.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace tessivar
