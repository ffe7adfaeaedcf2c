// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>

namespace fluvane {

/// Whether a bus lives at the address: connects, says hello and leaves again. Absent when it answered, else
/// why not, in the system's words. From any thread; returns soon after a stop is asked for.
///
/// The library that then really connects waits for that answer with its one thread, which serves every other
/// connection too: a bus that hangs must not get that far.
[[nodiscard]] std::optional<std::string>
probeBus(const std::string& address, std::chrono::milliseconds patience, const std::stop_token& stop);

} // namespace fluvane
