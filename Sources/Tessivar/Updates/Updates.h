// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/MainContext.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tessivar {

/// Looks whether there is a newer release, and tells; nothing is ever downloaded or installed. Main queue.
class Updates {
public:
    struct Options {
        std::string feed; ///< Link of the release feed, http or https.
        std::string key;  ///< The publisher's public key, as ReleaseFeed::read takes it.
        std::filesystem::path
            stateFile; ///< Remembers checks between runs; its folder is created when missing.
        /// Of trusted authorities; without either, the transfer library's own.
        std::optional<std::string> certificateFile{};
        std::optional<std::string> certificateFolder{};
        double patience = 30.0;              ///< Seconds for a whole check.
        std::size_t longestFeed = 1'000'000; ///< Bytes.
    };

    /// Is given a sentence or two for the user: on the newer release, that there is none, or why that isn't
    /// known.
    using Handler = std::function<void(const std::string& text)>;

    /// The context is used until the destructor returns.
    Updates(Options options, MainContext context);
    /// Breaks a running check off and waits for its thread; nobody is called any more.
    ~Updates();
    Updates(const Updates&) = delete;
    Updates& operator=(const Updates&) = delete;

    /// Checks now. Calls back on the main queue, later; those who ask while a check runs get its result.
    void check(Handler completion);

    /// From now on checks once a day at most, over all runs, and tells of each newer release once. Failures
    /// are only logged. Once.
    void start(Handler tell);

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace tessivar
