// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/StateKind.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace fluvane::watch {

/// It was watched and has left the list.
struct Removed {
    friend bool operator==(const Removed&, const Removed&) = default;
};
/// One that a newer application lists, told as it is.
struct UnknownState {
    std::string name;
    friend bool operator==(const UnknownState&, const UnknownState&) = default;
};

using RowState = std::variant<StateKind, Removed, UnknownState>;

/// One download as the application lists it. Sizes are bytes, never negative.
struct Row {
    DownloadID id{};
    std::string name{};
    RowState state{};
    std::string reason{}; ///< A failure's sentence.
    std::string file{};   ///< Path of the finished file.
    std::int64_t downloaded = 0;
    std::optional<std::int64_t> size{};
    std::int64_t bytesPerSecond = 0;
    std::int64_t connections = 0;
    std::string checksum{}; ///< "sha256:…", empty when none is set.
    std::optional<bool> checksumMatches{};
    std::optional<std::int64_t> placeInLine{};

    /// Absent for one that is removed or in an unknown state.
    [[nodiscard]] std::optional<StateKind> kind() const {
        const auto* known = std::get_if<StateKind>(&state);
        return known ? std::optional(*known) : std::nullopt;
    }
    [[nodiscard]] bool isRemoved() const { return std::holds_alternative<Removed>(state); }

    friend bool operator==(const Row&, const Row&) = default;
};

/// The answer to "list". Absent when it is no such list.
[[nodiscard]] std::optional<std::vector<Row>> parseListing(std::string_view json);

} // namespace fluvane::watch
