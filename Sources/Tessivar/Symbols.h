// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/Report.h"

namespace tessivar {

/// Fills in the names of functions that a report's addresses are in, as far as the very same module (by its
/// build id) is loaded in this process and its file has a table of names. Not async-signal-safe: for the
/// start that follows a crash. Never throws for what a file may hold.
void findSymbols(Report& report);

/// The name as a person writes it.
[[nodiscard]] std::string demangled(const std::string& symbol);
[[nodiscard]] std::string demangledType(const std::string& name);

} // namespace tessivar
