// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivar {

/// A version as releases are numbered: "1.2", "0.10.0", "1.0.0-beta.2". Ordered as semantic versioning has
/// it: 0.9 comes before 0.10, a pre-release before its release; 1.2 and 1.2.0 are the same.
class Version {
public:
    /// A leading "v" and build data ("+…") are allowed and don't count. At most 64 characters.
    [[nodiscard]] static std::optional<Version> parse(std::string_view text);

    [[nodiscard]] bool isPreRelease() const { return !preRelease_.empty(); }

    friend std::strong_ordering operator<=>(const Version& one, const Version& other);
    friend bool operator==(const Version& one, const Version& other) { return (one <=> other) == 0; }

private:
    std::vector<std::string> numbers_; ///< Digits without leading zeros; no zero at the end.
    std::vector<std::string> preRelease_;
};

} // namespace tessivar
