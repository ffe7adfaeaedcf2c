// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/NumberedRange.h"

#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace fluvane::numberedRange {

using tessivar::phrase;
using tessivar::phrases;

namespace {

/// One [a-b] of a word with the text before it.
struct Range {
    std::string_view before;
    std::int64_t first = 0, last = 0;
    std::size_t width = 0; ///< Digits to pad to; 0 for none.
};

struct Pattern {
    std::vector<Range> ranges;
    std::string_view after;
};

/// Takes one to nine digits and the character behind them.
std::optional<std::string_view> takeNumber(std::string_view& text, char behind) {
    constexpr std::size_t mostDigits = 9;
    const auto count = static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), tessivar::ascii::isDigit) - text.begin());
    if (count == 0 || count > mostDigits || count == text.size() || text[count] != behind) {
        return std::nullopt;
    }
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count + 1);
    return digits;
}

/// The range that stands right at the start of `text`, which moves behind it.
std::optional<Range> takeRange(std::string_view& text) {
    std::string_view rest = text.substr(1);
    const auto first = takeNumber(rest, '-');
    const auto last = first ? takeNumber(rest, ']') : std::nullopt;
    if (!last) {
        return std::nullopt;
    }
    text = rest;
    const bool padded = first->size() >= 2 && first->starts_with('0');
    return Range{{}, *text::wholeNumber(*first), *text::wholeNumber(*last), padded ? first->size() : 0};
}

/// Ranges never overlap, so one pass from the left finds what a search behind each range would find.
Pattern read(std::string_view word) {
    Pattern pattern;
    std::size_t start = 0;
    std::size_t at = word.find('[');
    while (at != std::string_view::npos) {
        std::string_view rest = word.substr(at);
        if (auto range = takeRange(rest)) {
            range->before = word.substr(start, at - start);
            pattern.ranges.push_back(*range);
            start = at = word.size() - rest.size();
        } else {
            ++at;
        }
        at = word.find('[', at);
    }
    pattern.after = word.substr(start);
    return pattern;
}

void appendNumber(std::string& out, const Range& range, std::int64_t number) {
    const std::string digits = std::to_string(number);
    out.append(range.width > digits.size() ? range.width - digits.size() : 0, '0').append(digits);
}

std::string filled(const Pattern& pattern, const std::vector<std::int64_t>& numbers) {
    std::string result;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        result += pattern.ranges[i].before;
        appendNumber(result, pattern.ranges[i], numbers[i]);
    }
    return result.append(pattern.after);
}

/// Turns on to the next combination, the last range fastest; false behind the last one.
bool advance(const Pattern& pattern, std::vector<std::int64_t>& numbers) {
    for (std::size_t i = numbers.size(); i-- > 0;) {
        const Range& range = pattern.ranges[i];
        if (numbers[i] != range.last) {
            numbers[i] += range.last > range.first ? 1 : -1;
            return true;
        }
        numbers[i] = range.first;
    }
    return false;
}

bool holdsRange(std::string_view word) {
    return word.size() <= longestWord && !read(word).ranges.empty();
}

/// Calls `each` with every word and the white space behind it (empty at the end).
template <class Each>
void forEachWord(std::string_view text, Each each) {
    std::size_t start = 0;
    for (std::size_t at = 0; at < text.size();) {
        const text::Scalar scalar = text::firstScalar(text.substr(at));
        if (text::isWhitespace(scalar.value)) {
            each(text.substr(start, at - start), text.substr(at, scalar.length));
            start = at + scalar.length;
        }
        at += scalar.length;
    }
    each(text.substr(start), std::string_view());
}

std::size_t bytesOf(const std::vector<std::string>& words) {
    std::size_t sum = words.size();
    for (const std::string& word : words) {
        sum += word.size();
    }
    return sum;
}

void appendLines(std::string& out, const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        out.append(i > 0 ? "\n" : "").append(lines[i]);
    }
}

} // namespace

std::string expand(std::string_view text) {
    if (text.find('[') == std::string_view::npos) {
        return std::string(text);
    }
    std::string result;
    std::size_t links = 0;
    std::size_t bytes = 0;
    forEachWord(text, [&](std::string_view word, std::string_view space) {
        const bool wanted = links < textLimit && bytes < textBytes && holdsRange(word);
        const auto expansions = wanted ? expandWord(word) : std::vector<std::string>();
        links += expansions.size();
        bytes += bytesOf(expansions);
        if (wanted && links <= textLimit && bytes <= textBytes) {
            appendLines(result, expansions);
        } else {
            result += word;
        }
        result += space;
    });
    return result;
}

std::vector<std::string> expandWord(std::string_view word) {
    if (!holdsRange(word)) {
        return {std::string(word)};
    }
    const Pattern pattern = read(word);
    std::vector<std::int64_t> numbers;
    for (const Range& range : pattern.ranges) {
        numbers.push_back(range.first);
    }
    std::vector<std::string> result;
    do {
        result.push_back(filled(pattern, numbers));
    } while (result.size() < limit && advance(pattern, numbers));
    return result;
}

std::string note(std::string_view text, std::size_t links) {
    std::size_t words = 0;
    std::size_t count = 0;
    forEachWord(text, [&](std::string_view word, std::string_view) {
        if (holdsRange(word) && words++ == 0) {
            count = expandWord(word).size();
        }
    });
    if (words == 0) {
        return phrase("For files in a series, put the numbers in brackets: %1 is %2 to %3.",
                      "part[01-20].zip", "part01.zip", "part20.zip");
    }
    if (words == 1) {
        return count == limit ? phrases("That range makes %1 link, the most at once.",
                                        "That range makes %1 links, the most at once.", count)
                              : phrases("That range makes %1 link.", "That range makes %1 links.", count);
    }
    return phrases("Those ranges make %1 link in all.", "Those ranges make %1 links in all.", links);
}

} // namespace fluvane::numberedRange
