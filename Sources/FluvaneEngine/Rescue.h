// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <cstdint>
#include <optional>

/// Takes pieces from connections that are far slower than the others of their download, so that a file
/// doesn't wait for one bad connection. Where all are equally slow nothing is taken: the server would see
/// more requests and nobody would be faster.
namespace fluvane::rescue {

struct Cut {
    std::int64_t start;             ///< Of the slow connection's piece.
    std::optional<std::int64_t> at; ///< Where it is to end; absent: nothing comes, and the connection closes.
    friend bool operator==(const Cut&, const Cut&) = default;
};

/// Looks at the connections' speeds. To be called with each beat; `now` is the scheduler's.
void watch(Download& download, double now);

/// Which piece is to be cut, if any; `connectionIsFree` when one could be opened and has nothing to do.
[[nodiscard]] std::optional<Cut> choose(const Download& download, double now, bool connectionIsFree);

} // namespace fluvane::rescue
