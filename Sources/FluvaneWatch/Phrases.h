// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneWatch/Watch.h"

#include <string>
#include <string_view>
#include <vector>

/// What is said about a download, in words. Nothing here can move a cursor: see `printable`.
namespace fluvane::watch {

/// The text with everything a terminal could act upon replaced by U+FFFD: control characters, line breaks and
/// the marks that turn the direction of the text after them.
[[nodiscard]] std::string printable(std::string_view text);

/// The state as a person reads it.
[[nodiscard]] std::string stateWords(const Row& row);
/// Size, speed, connections and time left, as far as they say something in this state.
[[nodiscard]] std::vector<std::string> figures(const Row& row);
/// 0 to 1, absent while the size is unknown.
[[nodiscard]] std::optional<double> fraction(const Row& row);

/// The one line for an output that is no terminal.
[[nodiscard]] std::string plainLine(const Row& row);
/// The sentence for a download that ended badly; empty for any other.
[[nodiscard]] std::string problem(const Row& row, Standing standing);

} // namespace fluvane::watch
