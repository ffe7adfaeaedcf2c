// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// The executable as its own command-line client: sends a command to the running application, prints the
/// answer. Blocks; uses no thread and no display.
namespace fluvane::cli {

/// What the application answered.
struct Answer {
    bool ok = false;
    std::string text;
};

/// What `run` does to the world.
struct Effects {
    /// Absent: nobody answered.
    std::function<std::optional<Answer>(const std::vector<std::string>&)> send;
    std::function<bool()> launch;
    std::function<void(std::chrono::milliseconds)> sleep;
    /// Gives what went wrong, if not all of the text could be written.
    std::function<std::error_code(std::string_view)> output;
    std::function<void(std::string_view)> error;
};

/// Carries out a command line without the executable's own path; returns the exit status: 0 done, 1 failed
/// or its answer was lost, 2 no such command.
[[nodiscard]] int run(const std::vector<std::string>& arguments, const Effects& effects);
/// The same against this user's application, standard output and standard error.
[[nodiscard]] int run(const std::vector<std::string>& arguments);

/// The arguments as they are sent: the command in lower case, the paths among them made absolute.
[[nodiscard]] std::vector<std::string> rewritten(std::vector<std::string> arguments);

/// Whether every argument is UTF-8, as a request must be: repaired, a path would name another file.
[[nodiscard]] bool canBeSent(const std::vector<std::string>& arguments);

/// One request and its reply over the socket at `socketPath`. Absent: nobody answered, or it can't be sent.
/// With a patience, an answer that pauses for longer is none.
[[nodiscard]] std::optional<Answer> send(const std::vector<std::string>& arguments,
                                         const std::string& socketPath,
                                         std::optional<std::chrono::milliseconds> patience = std::nullopt);

/// Starts this executable as the application, detached and in the background. False when it couldn't start.
[[nodiscard]] bool launchApp();
/// The same with another executable, which is Fluvane's.
[[nodiscard]] bool launchApp(const std::string& executable);

} // namespace fluvane::cli
