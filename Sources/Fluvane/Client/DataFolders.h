// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <optional>
#include <string>

/// Where this user's files are, by the desktop's base-directory variables; relative values of these count as
/// unset. Absolute paths without a trailing "/". Both sides of the control socket read them here.
namespace fluvane::dataFolders {

/// The user's home; without HOME it is asked of the user database.
[[nodiscard]] std::string home();
/// Holds the list, the control socket and the instance lock.
[[nodiscard]] std::string data();
/// Holds the log and the reports.
[[nodiscard]] std::string state();

[[nodiscard]] std::string settingsFile();
[[nodiscard]] std::string listFile();
[[nodiscard]] std::string controlSocket();
[[nodiscard]] std::string instanceLock();
[[nodiscard]] std::string snapshots();
/// Where the sessions of this user's downloads are while the machine runs; absent without a place for such
/// files. Another data folder has another.
[[nodiscard]] std::optional<std::string> sessionsFile();

/// The path with a leading "~" or "~user" replaced by that home; unchanged for an unknown user.
[[nodiscard]] std::string expandingTilde(const std::string& path);
/// The absolute path a user means by `path`: tilde expanded, taken from the current folder, "." and ".."
/// resolved by name, no trailing "/".
[[nodiscard]] std::string absolutePath(const std::string& path);

} // namespace fluvane::dataFolders
