// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Names for files from anything.

#include "FluvaneCore/FileName.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "Fuzz/Fuzz.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {"../../etc/C:\\a\\b.txt",
                                  ". .hidden",
                                  "Backup.TAR.GZ",
                                  "caf\xE9.👩‍👩‍👧‍👦🇩🇪",
                                  "e\u0301\u0323\u0301.tar.xz\u0085b\u3000.x\u202Egpj\u2028",
                                  "👩\n\u200D",
                                  "attachment; filename=\"x/y.zip\""};

static bool isSafe(std::string_view name) {
    return !name.empty() && name.size() <= 255 && text::isValid(name) && !name.starts_with('.') &&
           name.find_first_of("/\\:") == std::string_view::npos && words::oneLine(name) == name;
}

static void checkName(const std::string& given) {
    const auto cleaned = fileName::clean(given).value_or("x");
    fuzz::require(isSafe(cleaned), "a clean name is safe");
    fuzz::require(3 * given.size() > fileName::longest || fileName::clean(cleaned) == cleaned,
                  "what is clean stays");
    const auto [stem, extension] = fileName::split(cleaned);
    fuzz::require(text::equalIgnoringASCIICase(stem + extension, cleaned), "parts make the whole");
    fuzz::require(fileName::shortened(cleaned, 7).size() <= 7, "a short name is short");
    const auto type = [](const std::string& mime) -> std::optional<std::string> {
        fuzz::require(!mime.empty() && mime.find(';') == std::string::npos && text::trimmed(mime) == mime,
                      "a type is asked for plainly");
        return "t";
    };
    const auto name = fileName::suggested(given, *URL::parse("http://h/a"), given, type);
    int asked = 0;
    const auto taken = [&](const std::string&) { return asked++ < 30; };
    const auto free = fileName::unique(name, DuplicateNaming::spaceParentheses, taken, 8);
    fuzz::require(name.size() <= fileName::longest && isSafe(name) && isSafe(free + ".fluvane"),
                  "room is left for the unfinished file");
}

void fuzz::check(std::string_view input) {
    std::string name(input);
    checkName(name);
    while (!input.empty() && name.size() < 260) {
        name += input;
    }
    checkName(name);
}
