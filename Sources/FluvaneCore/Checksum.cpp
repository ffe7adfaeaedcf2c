// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Checksum.h"

#include "FluvaneCore/Text.h"

#include <algorithm>

namespace fluvane {

namespace {

using Algorithm = Checksum::Algorithm;

struct Traits {
    std::string_view name;
    std::string_view rawValue;
    std::size_t hexLength;
};

const Traits& traits(Algorithm algorithm) {
    static constexpr std::array<Traits, Checksum::allAlgorithms.size()> table = {
        Traits{"SHA-256", "sha256", 64}, Traits{"SHA-1", "sha1", 40}, Traits{"MD5", "md5", 32}};
    return table[static_cast<std::size_t>(algorithm)];
}

/// No two have values of the same length.
std::optional<Algorithm> algorithmOfLength(std::size_t length) {
    for (const Algorithm algorithm : Checksum::allAlgorithms) {
        if (traits(algorithm).hexLength == length) {
            return algorithm;
        }
    }
    return std::nullopt;
}

/// The first run of hexadecimal digits from `from` on; empty at the end of the text.
std::string_view hexRun(std::string_view lowercased, std::size_t from) {
    static constexpr std::string_view digits = "0123456789abcdef";
    const std::size_t begin = std::min(lowercased.find_first_of(digits, from), lowercased.size());
    const std::size_t end = lowercased.find_first_not_of(digits, begin);
    return lowercased.substr(begin, end - begin);
}

} // namespace

Checksum::Checksum(Algorithm algorithm_, std::string_view hex_)
    : algorithm(algorithm_), hex(text::lowercased(hex_)) {}

std::optional<Checksum> Checksum::recognise(std::string_view text) {
    const std::string lowercased = text::lowercased(text);
    const std::string_view view = lowercased;
    for (auto run = hexRun(view, 0); !run.empty();
         run = hexRun(view, static_cast<std::size_t>(run.data() - view.data()) + run.size())) {
        if (const auto algorithm = algorithmOfLength(run.size())) {
            return Checksum(*algorithm, run);
        }
    }
    return std::nullopt;
}

bool Checksum::matches(std::string_view computed) const {
    return text::lowercased(computed) == hex;
}

std::string Checksum::shortText() const {
    static constexpr std::size_t shown = 4;
    const auto characters = text::characters(hex);
    std::string result = std::string(name(algorithm)) + " ";
    for (std::size_t i = 0; i < std::min(shown, characters.size()); ++i) {
        result += characters[i];
    }
    result += "…";
    for (std::size_t i = characters.size() - std::min(shown, characters.size()); i < characters.size(); ++i) {
        result += characters[i];
    }
    return result;
}

std::string_view Checksum::name(Algorithm algorithm) {
    return traits(algorithm).name;
}

std::string_view Checksum::rawValue(Algorithm algorithm) {
    return traits(algorithm).rawValue;
}

std::size_t Checksum::hexLength(Algorithm algorithm) {
    return traits(algorithm).hexLength;
}

std::optional<Checksum::Algorithm> Checksum::algorithmFrom(std::string_view rawValue) {
    for (const Algorithm algorithm : allAlgorithms) {
        if (traits(algorithm).rawValue == rawValue) {
            return algorithm;
        }
    }
    return std::nullopt;
}

} // namespace fluvane
