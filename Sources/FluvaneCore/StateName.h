// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/StateKind.h"

#include <optional>
#include <string_view>

/// The names of states in the command line's list: "downloading", "link-expired", … For writing and reading
/// it, and for texts that speak its language; everything else asks for the kind.
namespace fluvane {

[[nodiscard]] std::string_view stateName(StateKind state);
[[nodiscard]] inline std::string_view stateName(const DownloadState& state) {
    return stateName(state.kind());
}
/// Absent for a name that this version doesn't know.
[[nodiscard]] std::optional<StateKind> stateNamed(std::string_view name);

} // namespace fluvane
