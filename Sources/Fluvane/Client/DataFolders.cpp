// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/DataFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

namespace fluvane::dataFolders {

namespace {

std::optional<std::string> absoluteVariable(const char* name) {
    const char* value = std::getenv(name);
    if (!value || value[0] != '/') {
        return std::nullopt;
    }
    return std::string(value);
}

struct Base {
    const char* variable;  ///< That may name it.
    const char* belowHome; ///< Where it is otherwise.
};

std::string baseFolder(const Base& base) {
    const auto chosen = absoluteVariable(base.variable);
    return absolutePath(chosen ? *chosen : home() + base.belowHome) + "/Fluvane";
}

std::string normalized(const std::filesystem::path& path) {
    std::string text = path.lexically_normal().native();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

std::string homeOf(const passwd* user) {
    return user && user->pw_dir ? user->pw_dir : "";
}

} // namespace

std::string home() {
    if (const auto variable = absoluteVariable("HOME")) {
        return *variable;
    }
    const std::string known = homeOf(getpwuid(getuid()));
    return known.empty() ? "/" : known;
}

std::string data() {
    return baseFolder({.variable = "XDG_DATA_HOME", .belowHome = "/.local/share"});
}
std::string state() {
    return baseFolder({.variable = "XDG_STATE_HOME", .belowHome = "/.local/state"});
}
std::string settingsFile() {
    return baseFolder({.variable = "XDG_CONFIG_HOME", .belowHome = "/.config"}) + "/settings.json";
}
std::string listFile() {
    return data() + "/downloads.json";
}
std::string controlSocket() {
    return data() + "/control.sock";
}
std::string instanceLock() {
    return data() + "/instance.lock";
}
std::string snapshots() {
    return data() + "/snapshots";
}
std::optional<std::string> sessionsFile() {
    const auto folder = absoluteVariable("XDG_RUNTIME_DIR");
    if (!folder) {
        return std::nullopt;
    }
    std::uint64_t hash = 14695981039346656037U; // FNV-1a
    for (const char c : data()) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    return absolutePath(*folder) + "/fluvane/sessions-" + std::to_string(hash) + ".json";
}

std::string expandingTilde(const std::string& path) {
    if (path.empty() || path[0] != '~') {
        return path;
    }
    const auto slash = path.find('/');
    const std::string user = path.substr(1, slash == std::string::npos ? slash : slash - 1);
    const std::string folder = user.empty() ? home() : homeOf(getpwnam(user.c_str()));
    if (folder.empty()) {
        return path;
    }
    return slash == std::string::npos ? folder : folder + path.substr(slash);
}

std::string absolutePath(const std::string& path) {
    const std::filesystem::path expanded = expandingTilde(path);
    if (expanded.is_absolute()) {
        return normalized(expanded);
    }
    std::error_code gone;
    const auto current = std::filesystem::current_path(gone);
    return normalized((gone ? std::filesystem::path("/") : current) / expanded);
}

} // namespace fluvane::dataFolders
