// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarPhrases/Phrases.h"

#include "TessivarPhrases/Language.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace tessivar {

namespace {

constexpr std::string_view isolate = "\u2068";
constexpr std::string_view endIsolate = "\u2069";

thread_local int englishDepth = 0;

const Catalogue* catalogue() {
    return englishDepth > 0 ? nullptr : language().catalogue.get();
}

/// The number of the placeholder at the start of a text, from 1; 0 without one.
std::size_t placeholder(std::string_view text) {
    const bool isOne = text.size() > 1 && text[0] == '%' && text[1] >= '1' && text[1] <= '9';
    return isOne ? static_cast<std::size_t>(text[1] - '0') : 0;
}

/// Calls for each stretch of text and each placeholder, in their order.
template <class Literal, class Value>
void walk(std::string_view text, Literal literal, Value value) {
    while (!text.empty()) {
        std::size_t end = 0;
        while (end < text.size() && placeholder(text.substr(end)) == 0) {
            ++end;
        }
        if (end > 0) {
            literal(text.substr(0, end));
        }
        text.remove_prefix(end);
        if (!text.empty()) {
            value(placeholder(text));
            text.remove_prefix(2);
        }
    }
}

template <class Values>
std::string put(std::string_view text, const Values& values, bool isolating) {
    std::string result;
    walk(
        text, [&result](std::string_view literal) { result += literal; },
        [&](std::size_t number) {
            if (number > values.size()) { // one that is filled later
                result += '%' + std::to_string(number);
                return;
            }
            const auto& value = *(values.begin() + static_cast<std::ptrdiff_t>(number - 1));
            result += isolating && !value.isNumber ? isolated(value.text) : value.text;
        });
    return result;
}

struct Pattern {
    std::string_view text;
};

/// The values by which a text became what it is, in the order of their numbers.
std::optional<std::vector<std::string>> taken(const Pattern& pattern, std::string_view from) {
    std::vector<std::string> values;
    std::size_t open = 0; // the placeholder whose end isn't known yet
    bool fits = true;
    const auto close = [&](std::size_t length) {
        if (open > 0) {
            values.resize(std::max(values.size(), open));
            values[open - 1] = from.substr(0, length);
            open = 0;
        }
    };
    std::string_view last;
    walk(
        pattern.text, [&last](std::string_view literal) { last = literal; },
        [&last](std::size_t) { last = {}; });
    walk(
        pattern.text,
        [&](std::string_view literal) {
            const bool isLast = literal.data() == last.data();
            const auto at = open == 0 ? 0 : isLast ? from.rfind(literal) : from.find(literal);
            fits = fits && at != std::string_view::npos && from.substr(at).starts_with(literal);
            if (fits) {
                close(at);
                from.remove_prefix(at + literal.size());
            }
        },
        [&](std::size_t number) { open = number; });
    const bool isWhole = open > 0 || from.empty();
    close(from.size());
    return fits && isWhole ? std::optional(values) : std::nullopt;
}

std::size_t literalLength(std::string_view pattern) {
    std::size_t length = 0;
    walk(
        pattern, [&length](std::string_view literal) { length += literal.size(); }, [](std::size_t) {});
    return length;
}

struct Found {
    std::string_view translation;
    std::vector<std::string> values;
    std::size_t fitting = 0; ///< Bytes of the text that the pattern has itself.
};

struct Kept {
    std::string_view context;
    std::string_view english;
};

std::optional<Found> bestFitting(const Catalogue& among, const Kept& kept) {
    std::optional<Found> best;
    among.each(kept.context, [&](std::string_view pattern, std::string_view translation) {
        const auto length = literalLength(pattern);
        if (translation.empty() || (best && best->fitting >= length)) {
            return;
        }
        if (auto values = taken({pattern}, kept.english)) {
            best = Found{translation, std::move(*values), length};
        }
    });
    return best;
}

} // namespace

namespace phrases_detail {

std::string single(std::string_view context, std::string_view text, PhraseValues values) {
    const Catalogue* const texts = catalogue();
    const auto translation = texts ? texts->find(context, text) : std::nullopt;
    return put(translation.value_or(text), values, isRightToLeft());
}

std::string counted(std::string_view one, std::string_view many, std::int64_t count, PhraseValues values) {
    const Catalogue* const texts = catalogue();
    const auto translation = texts ? texts->find(one, count) : std::nullopt;
    return put(translation.value_or(count == 1 ? one : many), values, isRightToLeft());
}

std::string filled(std::string_view text, PhraseValues values) {
    return put(text, values, false);
}

} // namespace phrases_detail

std::string keptShown(std::string_view context, std::string_view english,
                      const std::function<std::string(std::string_view)>& value) {
    const Catalogue* const texts = catalogue();
    if (!texts) {
        return std::string(english);
    }
    const auto found = bestFitting(*texts, {context, english});
    if (!found) {
        return isolated(value(english));
    }
    std::vector<PhraseValue> shown;
    for (const auto& one : found->values) {
        // Each is shorter than what it was taken from, unless the pattern is nothing but a placeholder.
        const bool isWhole = one.size() >= english.size();
        shown.emplace_back(isWhole ? one : keptShown(context, one, value));
    }
    return put(found->translation, shown, isRightToLeft());
}

std::string isolated(std::string_view text) {
    if (!isRightToLeft() || text.empty()) {
        return std::string(text);
    }
    return std::string(isolate).append(text).append(endIsolate);
}

bool isRightToLeft() {
    const Catalogue* const texts = catalogue();
    return texts && texts->isRightToLeft();
}

InEnglish::InEnglish() {
    ++englishDepth;
}

InEnglish::~InEnglish() {
    --englishDepth;
}

const std::string& decimalMark() {
    static const std::string english = ".";
    return englishDepth > 0 ? english : language().decimalMark;
}

const std::string& digitGroupMark() {
    static const std::string english = ",";
    return englishDepth > 0 ? english : language().digitGroupMark;
}

} // namespace tessivar
