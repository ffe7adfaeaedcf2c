// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace fluvane {

/// The digest that a file's publisher printed.
struct Checksum {
    enum class Algorithm { sha256, sha1, md5 };
    static constexpr std::array allAlgorithms = {Algorithm::sha256, Algorithm::sha1, Algorithm::md5};

    Algorithm algorithm;
    std::string hex; ///< Lower case.

    Checksum(Algorithm algorithm, std::string_view hex);
    /// Recognises pasted text: a bare hash, a labelled one, a line of a checksum file.
    [[nodiscard]] static std::optional<Checksum> recognise(std::string_view text);

    [[nodiscard]] bool matches(std::string_view computed) const;
    [[nodiscard]] std::string shortText() const; ///< "SHA-256 e3b0…b855"

    [[nodiscard]] static std::string_view name(Algorithm algorithm);     ///< "SHA-256"
    [[nodiscard]] static std::string_view rawValue(Algorithm algorithm); ///< "sha256"
    [[nodiscard]] static std::size_t hexLength(Algorithm algorithm);
    [[nodiscard]] static std::optional<Algorithm> algorithmFrom(std::string_view rawValue);

    friend bool operator==(const Checksum&, const Checksum&) = default;
};

struct ChecksumResult {
    struct Matches {
        friend bool operator==(const Matches&, const Matches&) = default;
    };
    struct Differs {
        std::string computed; ///< Lower-case hexadecimal.
        friend bool operator==(const Differs&, const Differs&) = default;
    };
    std::variant<Matches, Differs> outcome;

    [[nodiscard]] bool matches() const { return std::holds_alternative<Matches>(outcome); }
    friend bool operator==(const ChecksumResult&, const ChecksumResult&) = default;
};

} // namespace fluvane
