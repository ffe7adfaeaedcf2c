// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Scrubber.h"

#include "TessivarCore/Log.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace tessivar {

namespace {

constexpr const char* left = "…";
constexpr std::string_view around = " \"'([{<>}]).,;:!?";

char lowered(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

std::string lowered(std::string_view word) {
    std::string result(word);
    std::ranges::transform(result, result.begin(), [](char c) { return lowered(c); });
    return result;
}

std::string_view withoutPunctuation(std::string_view word) {
    const auto first = word.find_first_not_of(around);
    const auto last = word.find_last_not_of(around);
    return first == std::string_view::npos ? std::string_view() : word.substr(first, last + 1 - first);
}

/// Names may hold blanks: where such a word begins, nobody knows where the name ends.
bool beginsSomebodysName(std::string_view core) {
    return core.starts_with('/') || core.starts_with('~') || core.find("://") != std::string_view::npos ||
           core.find_first_of("@\\") != std::string_view::npos;
}

/// A host, an address, a file with its extension; a number with a point isn't.
bool looksLikeAName(std::string_view core) {
    const bool isNumber =
        core.find_first_not_of("0123456789.") == std::string_view::npos && std::ranges::count(core, '.') == 1;
    return core.find_first_of(".:") != std::string_view::npos && !isNumber;
}

bool isPartOfWord(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

/// Whether the word is in the text, alone or in a compound ("anna's").
bool holds(std::string_view text, std::string_view word) {
    for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const auto end = at + word.size();
        if ((at == 0 || !isPartOfWord(text[at - 1])) && (end == text.size() || !isPartOfWord(text[end]))) {
            return true;
        }
    }
    return false;
}

} // namespace

Scrubber::Scrubber(std::vector<std::string> privateWords) : privateWords_(std::move(privateWords)) {
    std::erase(privateWords_, "");
    std::ranges::transform(privateWords_, privateWords_.begin(),
                           [](const auto& word) { return lowered(word); });
}

std::string Scrubber::scrubbed(std::string_view message) const {
    const std::string marked = log::withoutHidden(message);
    std::string_view rest = marked;
    std::string text;
    while (!rest.empty()) {
        const auto word = rest.substr(0, std::min(rest.find(' '), rest.size() - 1) + 1);
        const auto core = withoutPunctuation(word);
        if (beginsSomebodysName(core)) {
            return text + left;
        }
        const bool isPrivate = std::ranges::any_of(
            privateWords_, [plain = lowered(core)](const auto& secret) { return holds(plain, secret); });
        if (isPrivate || looksLikeAName(core)) {
            const auto before = word.find(core);
            text.append(word.substr(0, before)).append(left).append(word.substr(before + core.size()));
        } else {
            text += word;
        }
        rest.remove_prefix(word.size());
    }
    return text;
}

std::vector<std::string> namesOfUserAndHost() {
    std::vector<std::string> names;
    for (const char* const variable : {"USER", "LOGNAME", "HOSTNAME"}) {
        if (const char* const value = std::getenv(variable)) {
            names.emplace_back(value);
        }
    }
    std::array<char, 256> host{};
    if (::gethostname(host.data(), host.size() - 1) == 0) {
        names.emplace_back(host.data());
        names.push_back(names.back().substr(0, names.back().find('.')));
    }
    std::erase(names, "");
    return names;
}

} // namespace tessivar
