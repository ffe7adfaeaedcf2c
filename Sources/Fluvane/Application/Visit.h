// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// What a start of the application is for, besides having it run. A second start hands it over to the first
/// one: {"--open", token, thing…} at the control socket, where no command begins with a dash.
struct Visit {
    enum class Kind { activate, open, act, none };
    Kind kind = Kind::activate;
    /// Of kind `none` it wants nothing but an instance that runs. Of kind `open`: links, and absolute paths
    /// of files; of kind `act`: an action of the desktop entry.
    std::vector<std::string> things{};
    std::string token{}; ///< Lets a window come to the front; may be empty.

    /// Of a command line, its program's name left out. Takes the token out of the environment, so that no
    /// other program that we start uses it.
    [[nodiscard]] static Visit from(const std::vector<std::string>& arguments);

    /// Of a request; false when it is none.
    [[nodiscard]] static bool isOne(const std::vector<std::string>& request);
    [[nodiscard]] static Visit fromRequest(const std::vector<std::string>& request);
    [[nodiscard]] std::vector<std::string> request() const;

    /// Hands it over to the instance that runs, which may be just starting, for up to the patience. Returns
    /// the exit status, and has said on standard error what there is to say; absent when that instance has
    /// ended meanwhile, which `hasEnded` is asked for between tries.
    [[nodiscard]] std::optional<int> handOver(std::chrono::milliseconds patience,
                                              const std::function<bool()>& hasEnded) const;

private:
    [[nodiscard]] int refused(const std::string& text) const;
};

} // namespace fluvane
