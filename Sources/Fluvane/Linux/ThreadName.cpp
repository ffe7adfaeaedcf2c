// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/ThreadName.h"

#include <pthread.h>

#include <string>

namespace fluvane {

void nameThread(std::string_view label) {
    constexpr std::size_t kept = 15; // of the kernel: the last part tells the threads apart
    const auto dot = label.rfind('.');
    const auto name = "fluvane." + std::string(label.substr(dot + 1)); // the whole label without a dot
    pthread_setname_np(pthread_self(), name.substr(0, kept).c_str());
}

} // namespace fluvane
