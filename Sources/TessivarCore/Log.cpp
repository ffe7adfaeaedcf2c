// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/Log.h"

#include <utility>

namespace tessivar {

std::atomic<bool> Log::detailed = false;
std::atomic<bool> Log::debug = false;

namespace {

// Constructed on first use, so that a message logged while statics are still being built finds it.
Log::Sink& sink() {
    static Log::Sink current;
    return current;
}

} // namespace

void Log::setSink(Sink replacement) {
    sink() = std::move(replacement);
}

void Log::write(Level level, std::string_view message) const {
    if (const auto& to = sink()) {
        to(level, category_, message);
    }
}

} // namespace tessivar
