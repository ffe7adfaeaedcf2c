// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Whole series of links from one pattern: part[01-20].zip.
namespace fluvane::numberedRange {

/// The most links one word expands to.
inline constexpr std::size_t limit = 1000;
/// A longer word, in bytes, stays as it is: no server takes such a link.
inline constexpr std::size_t longestWord = 8192;
/// What the expansions of one text may come to together. The words that no longer fit stay as they are, so
/// that a pasted megabyte of ranges can't take the memory.
inline constexpr std::size_t textLimit = 100'000;
inline constexpr std::size_t textBytes = 16'777'216;

/// The text with every word that holds a range replaced by its expansions, one a line. White space stays.
[[nodiscard]] std::string expand(std::string_view text);
/// The word alone when it holds no range.
[[nodiscard]] std::vector<std::string> expandWord(std::string_view word);
/// What the add screen says about the ranges in what was typed, of which `links` links came in all.
[[nodiscard]] std::string note(std::string_view text, std::size_t links);

} // namespace fluvane::numberedRange
