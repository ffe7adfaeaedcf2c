// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstdint>

namespace fluvane {

/// Ends the program with the text on standard error. For broken invariants only: a wrapped offset would
/// write bytes into the wrong place of somebody's file, and nothing after that could be trusted.
[[noreturn]] void fatal(const char* what);

/// Who is told the text first, such as whoever writes crash reports. For start-up; null: nobody. The handler
/// may be called on any thread.
void setFatalHandler(void (*handler)(const char* what) noexcept);

/// Signed 64-bit arithmetic on byte counts and offsets. Overflow is fatal, it never wraps.
[[nodiscard]] inline std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result)) {
        fatal("an addition of byte counts overflowed");
    }
    return result;
}

[[nodiscard]] inline std::int64_t checkedSubtract(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result)) {
        fatal("a subtraction of byte counts overflowed");
    }
    return result;
}

[[nodiscard]] inline std::int64_t checkedMultiply(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_mul_overflow(a, b, &result)) {
        fatal("a multiplication of byte counts overflowed");
    }
    return result;
}

} // namespace fluvane
