// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane::watch {

/// One download as the application lists it. Sizes are bytes, never negative.
struct Row {
    std::int64_t id = 0;
    std::string name{};
    std::string state{};  ///< A name of the list ("link-expired"), or `removedState`.
    std::string reason{}; ///< A failure's sentence.
    std::string file{};   ///< Path of the finished file.
    std::int64_t downloaded = 0;
    std::optional<std::int64_t> size{};
    std::int64_t bytesPerSecond = 0;
    std::int64_t connections = 0;
    std::string checksum{}; ///< "sha256:…", empty when none is set.
    std::optional<bool> checksumMatches{};
    std::optional<std::int64_t> placeInLine{};

    friend bool operator==(const Row&, const Row&) = default;
};

/// The state given here to a download that was watched and has left the list.
inline constexpr std::string_view removedState = "removed";

/// The answer to "list". Absent when it is no such list.
[[nodiscard]] std::optional<std::vector<Row>> parseListing(std::string_view json);

} // namespace fluvane::watch
