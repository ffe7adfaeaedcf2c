// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>
#include <string_view>

namespace tessivar {

/// Which form a count takes by a catalogue's rule, an expression of C in `n`; 0 for a rule that makes no
/// sense.
[[nodiscard]] std::uint64_t pluralForm(std::string_view rule, std::uint64_t count);

} // namespace tessivar
