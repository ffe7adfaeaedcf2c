// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <vector>

namespace fluvane::cli {

/// What "add" was given in files, for nobody else to see who lists processes: --cookies <file> and --header
/// @<file>, of lines.
struct AddedFiles {
    std::vector<std::string> arguments; ///< With what is in the files in their place.
    std::string problem{};              ///< A sentence; empty: none.

    /// Reads each file once, as the caller may: a pipe, too. Waits for it.
    [[nodiscard]] static AddedFiles read(std::vector<std::string> arguments);
};

} // namespace fluvane::cli
