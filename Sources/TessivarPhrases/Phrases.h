// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

/// Texts in the user's language. A text is written in English where it is shown, and is looked up in the
/// catalogue of the language (Language.h); without one it stays as it is. Placeholders are %1 to %9: a
/// translation may put them into another order. `Tools/update-translations` finds the texts by the names of
/// these functions, so that each is a literal in their arguments. Whole sentences only: other languages have
/// another order of words.
///
/// From any thread, once the language is set.
namespace tessivar {

/// A number that is text already, which is never isolated.
struct Figure {
    std::string text;
};

/// What a placeholder stands for: a number, or a text, which in a language from right to left is isolated so
/// that it and the sentence around it don't scramble each other.
class PhraseValue {
public:
    template <std::integral Number>
    PhraseValue(Number number)
        : text(std::to_string(number)), isNumber(true) {} // a value, whatever it is made from
    PhraseValue(const Figure& value) : text(value.text), isNumber(true) {}
    PhraseValue(std::string_view value) : text(value) {}
    PhraseValue(const std::string& value) : text(value) {}
    PhraseValue(const char* value) : text(value) {}
    template <class Text>
    requires requires(const Text& value) { value.toStdString(); }
    PhraseValue(const Text& value) : text(value.toStdString()) {}

    std::string text;
    bool isNumber = false;
};
using PhraseValues = std::initializer_list<PhraseValue>;

namespace phrases_detail {
/// A text without context has an empty one.
[[nodiscard]] std::string single(std::string_view context, std::string_view text, PhraseValues values);
[[nodiscard]] std::string counted(std::string_view one, std::string_view many, std::int64_t count,
                                  PhraseValues values);
[[nodiscard]] std::string filled(std::string_view text, PhraseValues values);
} // namespace phrases_detail

template <class... Values>
[[nodiscard]] std::string phrase(std::string_view text, const Values&... values) {
    return phrases_detail::single({}, text, {PhraseValue(values)...});
}

/// Where one English text has two meanings; `context` is for translators and is never shown.
template <class... Values>
[[nodiscard]] std::string phraseIn(std::string_view context, std::string_view text, const Values&... values) {
    return phrases_detail::single(context, text, {PhraseValue(values)...});
}

/// By the count, which is %1; further values are %2 and on.
template <std::integral Count, class... Values>
[[nodiscard]] std::string phrases(std::string_view one, std::string_view many, Count count,
                                  const Values&... values) {
    const auto number = static_cast<std::int64_t>(count);
    return phrases_detail::counted(one, many, number, {PhraseValue(number), PhraseValue(values)...});
}

/// A text that is stored or sent, and so stays English wherever it is made; `keptShown` finds its
/// translation.
template <class... Values>
[[nodiscard]] std::string kept(std::string_view /*context*/, std::string_view text, const Values&... values) {
    return phrases_detail::filled(text, {PhraseValue(values)...});
}

/// A literal for a table, from which `phrase` or `phraseIn` takes it later.
[[nodiscard]] constexpr const char* marked(const char* text) {
    return text;
}
[[nodiscard]] constexpr const char* markedIn(const char* /*context*/, const char* text) {
    return text;
}

/// Something made by `kept` in the user's language: its values are taken from it by the text that fits best,
/// and are looked up themselves; `value` puts those into words that aren't found. Whatever isn't found stays
/// as it is.
[[nodiscard]] std::string keptShown(
    std::string_view context, std::string_view english,
    const std::function<std::string(std::string_view)>& value = [](auto text) { return std::string(text); });

/// A text of others (a name, a link) inside of a line that isn't a phrase: isolated where that is needed.
[[nodiscard]] std::string isolated(std::string_view text);
/// Whether the language is written from right to left.
[[nodiscard]] bool isRightToLeft();

/// What is put together meanwhile by this thread is English: for what is stored, logged or read by programs.
class InEnglish {
public:
    InEnglish();
    ~InEnglish();
    InEnglish(const InEnglish&) = delete;
    InEnglish& operator=(const InEnglish&) = delete;
};

} // namespace tessivar
