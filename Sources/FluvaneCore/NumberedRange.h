#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Whole series of links from one pattern: part[01-20].zip.
namespace fluvane::NumberedRange {

/// The most links one word expands to.
inline constexpr std::size_t limit = 1000;

/// The text with every word that holds a range replaced by its expansions, one a line.
[[nodiscard]] std::string expand(std::string_view text);
[[nodiscard]] std::vector<std::string> expandWord(std::string_view word);
/// What the add screen says: `ranges` words hold ranges, and `links` links come of them.
[[nodiscard]] std::string note(std::string_view text, std::size_t links);

} // namespace fluvane::NumberedRange
