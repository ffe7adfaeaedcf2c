// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarPhrases/Catalogue.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessivar {

/// What the user reads in, and how numbers look there.
struct Language {
    std::string name; ///< "de", "pt_BR"; empty: English, without a catalogue.
    std::shared_ptr<const Catalogue> catalogue;
    std::string decimalMark = ".";
    std::string digitGroupMark = ","; ///< Empty: digits aren't grouped.
};

using FindVariable = std::function<const char*(const char* name)>;

/// The languages that the environment asks for, best first, as LANGUAGE, LC_ALL, LC_MESSAGES and LANG say it:
/// of "de_DE.UTF-8" both "de_DE" and "de". Ends with the first that is English, and is empty for the locales
/// C and POSIX.
[[nodiscard]] std::vector<std::string> wantedLanguages(const FindVariable& find);

/// The first wanted language that has a catalogue `<folder>/<name>/LC_MESSAGES/<domain>.mo` in one of the
/// folders; numbers by LC_NUMERIC, or where the system doesn't have that locale as the catalogue says.
[[nodiscard]] Language readLanguage(const FindVariable& find, const std::vector<std::string>& folders,
                                    const std::string& domain);

/// Where catalogues are, whether the program that runs is installed or in its build folder.
[[nodiscard]] std::vector<std::string> catalogueFolders();

/// Sets the process's language: at its start, before there is a second thread; tests between windows.
void setLanguage(Language language);
[[nodiscard]] const Language& language();

/// "12.3", "1,234,567": the digits are those of ASCII in every language, as file names, links and versions
/// have them.
[[nodiscard]] const std::string& decimalMark();
[[nodiscard]] const std::string& digitGroupMark();

} // namespace tessivar
