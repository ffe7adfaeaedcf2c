// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

/// A fuzz target defines both: inputs that its parsers know, for mutations to begin with, and what they
/// promise about any input.
namespace fluvane::fuzz {

using Inputs = std::vector<std::string_view>;
extern const Inputs seeds;
void check(std::string_view input);

inline void require(bool kept, const char* promise) {
    if (!kept) {
        std::fprintf(stderr, "Broken: %s\n", promise);
        std::abort();
    }
}

} // namespace fluvane::fuzz
