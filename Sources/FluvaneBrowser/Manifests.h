// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// The files by which a user's browsers know that the extension may start the host.
namespace fluvane::browser {

/// Of the extension in Browser/: given by the key in its manifest, and by its own name.
inline constexpr std::string_view chromiumOrigin = "chrome-extension://knnpebancpjofcjmcbkfjlanglkbgcfl/";
inline constexpr std::string_view firefoxID = "fluvane@fluvane.org";

/// Where browsers keep what is one user's.
struct UserFolders {
    std::filesystem::path home;
    std::filesystem::path config; ///< $XDG_CONFIG_HOME, or what stands for it.
};

struct Written {
    std::vector<std::filesystem::path> files; ///< Written or removed.
    std::vector<std::string> problems;        ///< A sentence for each that couldn't be.
};

/// Writes the manifest for Firefox and Chromium, and for those built on them that this user has.
[[nodiscard]] Written install(const UserFolders& folders, const std::filesystem::path& host);
/// Removes what `install` may ever have written, and nothing else.
[[nodiscard]] Written uninstall(const UserFolders& folders);

/// Whether a browser started the host for the extension: they tell whom for in the arguments.
[[nodiscard]] bool isForTheExtension(const std::vector<std::string>& arguments);

} // namespace fluvane::browser
