// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/MainContext.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessivar {

/// Makes a report on the running application that a user can send: versions, desktop, services, the
/// application's own sections, figures of the process, recent errors. It holds no links, no names of files,
/// users or hosts. Main queue.
class Diagnostics {
public:
    /// Text with a heading. The application answers for there being nothing private in it.
    struct Section {
        std::string title;
        std::string text; ///< Lines.
    };
    /// Something that may or may not be on this system.
    struct Service {
        std::string name; ///< As the report is to name it.
        /// Begins to look for it; `answer` is called on the main queue, at once or later, or never.
        std::function<void(std::function<void(bool found)> answer)> find;
    };
    struct Options {
        /// Name and version of what only the application knows: {"Qt", "6.4.2"}.
        std::vector<std::pair<std::string, std::string>> versions{};
        std::vector<Service> services{};
        std::function<std::vector<Section>()> sections{}; ///< Called on the main queue for each report.
        /// The lines of the log to take errors from, as LogFiles::recentMarked gives them. Called on another
        /// thread.
        std::function<std::string()> log{};
        double patience = 2.0; ///< Seconds. What isn't answered by then is reported as such.
    };

    /// The context is used until the destructor returns, which waits for the log being read.
    Diagnostics(Options options, MainContext context);
    ~Diagnostics();
    Diagnostics(const Diagnostics&) = delete;
    Diagnostics& operator=(const Diagnostics&) = delete;

    /// Calls back on the main queue, later, within the patience. Nothing blocks meanwhile. Those who ask
    /// while a report is being made get the same one. A report in the making at the destructor isn't
    /// delivered.
    void report(std::function<void(std::string)> completion);

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace tessivar
