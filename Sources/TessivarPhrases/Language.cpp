// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarPhrases/Language.h"

#include "TessivarPhrases/Phrases.h"

#include <langinfo.h>
#include <locale.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace tessivar {

namespace {

Language& current() {
    static Language language;
    return language;
}

std::string valueOf(const FindVariable& find, const char* name) {
    const char* const value = find(name);
    return value ? value : "";
}

/// The name of a category's locale, as setlocale(3) finds it.
std::string localeName(const FindVariable& find, const char* category) {
    for (const char* const name : {"LC_ALL", category, "LANG"}) {
        if (auto value = valueOf(find, name); !value.empty()) {
            return value;
        }
    }
    return "C";
}

bool isPlain(const std::string& locale) {
    return locale == "C" || locale == "POSIX";
}

/// With and without the country, and without encoding and variant. False once English has come.
bool add(std::vector<std::string>& languages, std::string_view locale) {
    const std::string_view withCountry = locale.substr(0, locale.find_first_of(".@"));
    const std::string_view language = withCountry.substr(0, withCountry.find('_'));
    if (language == "en" || language == "C" || language == "POSIX") {
        return false;
    }
    for (const auto name : {withCountry, language}) {
        // A name becomes a part of a path.
        const bool isName = !name.empty() && name.find('/') == std::string_view::npos;
        if (isName && (languages.empty() || languages.back() != name)) {
            languages.emplace_back(name);
        }
    }
    return true;
}

/// Empty for what the system wasn't set up with.
void readNumbers(Language& language, const std::string& locale) {
    // NOLINTNEXTLINE(misc-misplaced-const)
    const bool saysNothing = isPlain(locale) || locale.starts_with("C.");
    const locale_t system = saysNothing ? nullptr : newlocale(LC_NUMERIC_MASK, locale.c_str(), nullptr);
    if (system) {
        language.decimalMark = nl_langinfo_l(RADIXCHAR, system);
        language.digitGroupMark = nl_langinfo_l(THOUSEP, system);
        freelocale(system);
    } else if (language.catalogue) {
        const auto& catalogue = *language.catalogue;
        language.decimalMark = catalogue.find("decimal mark", markedIn("decimal mark", ".")).value_or(".");
        language.digitGroupMark = catalogue
                                      .find("mark between groups of three digits",
                                            markedIn("mark between groups of three digits", ","))
                                      .value_or(",");
    }
    if (language.decimalMark.empty()) {
        language.decimalMark = ".";
    }
}

} // namespace

std::vector<std::string> wantedLanguages(const FindVariable& find) {
    const std::string locale = localeName(find, "LC_MESSAGES");
    std::vector<std::string> languages;
    if (isPlain(locale)) {
        return languages;
    }
    const std::string listed = valueOf(find, "LANGUAGE");
    std::string_view rest = listed;
    while (!rest.empty()) {
        const auto end = std::min(rest.find(':'), rest.size());
        if (end > 0 && !add(languages, rest.substr(0, end))) {
            return languages;
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    add(languages, locale);
    return languages;
}

Language readLanguage(const FindVariable& find, const std::vector<std::string>& folders,
                      const std::string& domain) {
    Language language;
    for (const auto& name : wantedLanguages(find)) {
        for (const auto& folder : folders) {
            if (!language.catalogue) {
                language.catalogue =
                    Catalogue::read(std::filesystem::path(folder) / name / "LC_MESSAGES" / (domain + ".mo"));
                language.name = language.catalogue ? name : "";
            }
        }
    }
    readNumbers(language, localeName(find, "LC_NUMERIC"));
    return language;
}

std::vector<std::string> catalogueFolders() {
    std::error_code unknown;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    if (unknown) {
        return {};
    }
    const auto folder = program.parent_path();
    return {(folder.parent_path() / "share/locale").string(), (folder / "share/locale").string()};
}

void setLanguage(Language language) {
    current() = std::move(language);
}

const Language& language() {
    return current();
}

} // namespace tessivar
