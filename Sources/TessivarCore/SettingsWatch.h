// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/FileSystem.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace tessivar {

/// Notices that a file was written or replaced by whomever, ourselves included, also where neither it nor its
/// folder is there yet, and where it is a link to a file elsewhere. Sleeps until then: nothing is polled. For
/// one thread.
///
///     SettingsWatch watch(path, [&] { store.takeUpEdits(); });
///     // whenever watch.descriptor() is readable:
///     watch.ready();
class SettingsWatch {
public:
    struct Pauses {
        std::chrono::milliseconds calm{200};  ///< Without a further change until it is told.
        std::chrono::milliseconds most{2000}; ///< From the first change, while there are more and more.
    };

    /// Without the system's means (out of descriptors or watches) nothing is noticed; `problem` tells.
    SettingsWatch(std::filesystem::path file, std::function<void()> changed, Pauses pauses);
    SettingsWatch(std::filesystem::path file, std::function<void()> changed);
    ~SettingsWatch();
    SettingsWatch(const SettingsWatch&) = delete;
    SettingsWatch& operator=(const SettingsWatch&) = delete;

    /// For the event loop; -1 when there is nothing to wait for.
    [[nodiscard]] int descriptor() const;
    /// To be called when the descriptor is readable; harmless at other times. May call `changed`.
    void ready();

    /// A sentence on why nothing is noticed; empty when all is well.
    [[nodiscard]] const std::string& problem() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tessivar
