// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <link.h>

#include <span>

namespace tessivar {

/// The build id of a module at that place in memory, from its notes as they are mapped; empty when it has
/// none. Async-signal-safe.
[[nodiscard]] std::span<const unsigned char> buildID(ElfW(Addr) base, std::span<const ElfW(Phdr)> segments);

} // namespace tessivar
