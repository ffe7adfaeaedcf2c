// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Manifests.h"

#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/FileSystem.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <system_error>

namespace fluvane::browser {

namespace {

namespace fs = std::filesystem;

constexpr const char* manifestName = "org.fluvane.fluvane.json";
constexpr mode_t readable = 0644;

enum class Family { firefox, chromium };

struct Browser {
    Family family;
    bool isBelowHome;      ///< Else below the folder for configuration.
    const char* folder;    ///< Where it keeps its profiles.
    bool isAlways = false; ///< Also before it has been started for the first time.
};

constexpr Browser browsers[] = {
    {.family = Family::firefox, .isBelowHome = true, .folder = ".mozilla", .isAlways = true},
    {.family = Family::firefox, .isBelowHome = true, .folder = ".librewolf"},
    {.family = Family::firefox, .isBelowHome = true, .folder = ".waterfox"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "chromium", .isAlways = true},
    {.family = Family::chromium, .isBelowHome = false, .folder = "google-chrome"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "google-chrome-beta"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "google-chrome-unstable"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "google-chrome-for-testing"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "microsoft-edge"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "BraveSoftware/Brave-Browser"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "vivaldi"},
    {.family = Family::chromium, .isBelowHome = false, .folder = "opera"},
};

fs::path profiles(const Browser& browser, const UserFolders& folders) {
    return (browser.isBelowHome ? folders.home : folders.config) / browser.folder;
}

fs::path manifestFile(const Browser& browser, const UserFolders& folders) {
    const char* below = browser.family == Family::firefox ? "native-messaging-hosts" : "NativeMessagingHosts";
    return profiles(browser, folders) / below / manifestName;
}

std::string manifest(Family family, const fs::path& host) {
    nlohmann::ordered_json json{{"name", "org.fluvane.fluvane"},
                                {"description", "Offers downloads of the browser to Fluvane"},
                                {"path", host.native()},
                                {"type", "stdio"}};
    if (family == Family::firefox) {
        json["allowed_extensions"] = {firefoxID};
    } else {
        json["allowed_origins"] = {chromiumOrigin};
    }
    return json.dump(2) + "\n";
}

} // namespace

Written install(const UserFolders& folders, const fs::path& host) {
    Written written;
    for (const auto& browser : browsers) {
        std::error_code unknown;
        if (!browser.isAlways && !fs::is_directory(profiles(browser, folders), unknown)) {
            continue;
        }
        const auto file = manifestFile(browser, folders);
        try {
            tessivar::createFolders(file.parent_path(), 0700);
            tessivar::AtomicFile(file).write(manifest(browser.family, host), readable);
            written.files.push_back(file);
        } catch (const std::exception& failure) { // of the system, or a path that is no UTF-8
            written.problems.push_back("Couldn't write " + file.native() + ": " + failure.what());
        }
    }
    return written;
}

Written uninstall(const UserFolders& folders) {
    Written removed;
    for (const auto& browser : browsers) {
        const auto file = manifestFile(browser, folders);
        std::error_code problem;
        if (fs::remove(file, problem)) {
            removed.files.push_back(file);
        } else if (problem) {
            removed.problems.push_back("Couldn't remove " + file.native() + ": " + problem.message());
        }
    }
    return removed;
}

bool isForTheExtension(const std::vector<std::string>& arguments) {
    return std::ranges::any_of(arguments,
                               [](const auto& one) { return one == chromiumOrigin || one == firefoxID; });
}

} // namespace fluvane::browser
