// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string_view>

/// The variable of the environment from which Qt takes the token that lets a window come to the front. setenv
/// may move the environment away from under a thread that reads another variable; here only one pointer at
/// its end ever changes.
namespace fluvane::activationVariable {

/// Before there is a second thread. Whatever adds variables behind it makes the others here do nothing.
void makeRoom();
/// Main thread, as the other.
void set(std::string_view token);
/// Also when Qt has done so.
void clear();

} // namespace fluvane::activationVariable
