// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/CheckedMath.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace fluvane {

namespace {
std::atomic<void (*)(const char*) noexcept> fatalHandler = nullptr;
}

void setFatalHandler(void (*handler)(const char* what) noexcept) {
    fatalHandler = handler;
}

void fatal(const char* what) {
    if (auto* const handler = fatalHandler.load()) {
        handler(what);
    }
    std::fputs("Fluvane stops: ", stderr);
    std::fputs(what, stderr);
    std::fputs(".\n", stderr);
    std::abort();
}

} // namespace fluvane
