// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Desktop/ActivationVariable.h"

#include <unistd.h>

#include <atomic>
#include <deque>
#include <string>
#include <vector>

namespace fluvane::activationVariable {

namespace {

/// The environment with one place more; the process's, so that it is never freed.
std::vector<char*>& variables() {
    static auto& all = *new std::vector<char*>;
    return all;
}

/// Readers stop at the first null.
void setLast(char* variable) {
    auto& all = variables();
    if (!all.empty() && environ == all.data()) {
        std::atomic_ref(all[all.size() - 2]).store(variable, std::memory_order_release);
    }
}

} // namespace

void makeRoom() {
    auto& all = variables();
    all.clear();
    for (char** variable = environ; variable && *variable; ++variable) {
        all.push_back(*variable);
    }
    all.insert(all.end(), 2, nullptr);
    environ = all.data();
}

void set(std::string_view token) {
    static auto& all = *new std::deque<std::string>; // another thread may still be reading one from before
    setLast(all.emplace_back("XDG_ACTIVATION_TOKEN=" + std::string(token)).data());
}

void clear() {
    setLast(nullptr);
}

} // namespace fluvane::activationVariable
