// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarPhrases/Phrases.h"

#include <QString>

/// The same for windows. A header alone: whoever includes it links Qt.
namespace tessivar {

template <class... Values>
[[nodiscard]] QString qPhrase(std::string_view text, const Values&... values) {
    return QString::fromStdString(phrase(text, values...));
}
template <class... Values>
[[nodiscard]] QString qPhraseIn(std::string_view context, std::string_view text, const Values&... values) {
    return QString::fromStdString(phraseIn(context, text, values...));
}
template <std::integral Count, class... Values>
[[nodiscard]] QString qPhrases(std::string_view one, std::string_view many, Count count,
                               const Values&... values) {
    return QString::fromStdString(phrases(one, many, count, values...));
}

/// A text of others to be drawn by itself, after it was shortened.
[[nodiscard]] inline QString qIsolated(const QString& text) {
    return isRightToLeft() ? QString::fromStdString(isolated(text.toStdString())) : text;
}

/// What an exception or a completion says, where that is a text that is kept in English.
[[nodiscard]] inline QString qKeptShown(std::string_view english) {
    return QString::fromStdString(keptShown("kept", english));
}

} // namespace tessivar
