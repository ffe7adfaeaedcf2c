// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace tessivar {

struct Report;

/// What a person is told about crashes and hangs. Main thread; reads and writes small files there. Nothing
/// throws: reports that can't be read are passed over.
class CrashNote {
public:
    /// Phrases of the application for the middle of a sentence.
    struct Wording {
        std::string survived;  ///< "Your documents are as you saved them."
        std::string neverHeld; ///< What no report holds: "There are no texts in it."
        std::string section; ///< What the application's section holds, a sentence; empty when there is none.
    };

    /// `section` gives the application's own lines for a report, at the start that follows a crash; it
    /// answers for their holding nothing private.
    CrashNote(std::filesystem::path folder, Wording wording, std::function<std::string()> section = {});

    /// The newest crash or hang as a text for a person: a few sentences, then the report. A sentence when
    /// there is none.
    [[nodiscard]] std::string latest() const;

    /// Completes the reports that earlier runs left since the last call by the application's section and
    /// calls the handler with the note on each, oldest first; never twice with the same. A start that crashes
    /// in completing a report isn't followed by another such: that one shows what there is. A section that
    /// throws is left out.
    void showIfNeeded(const std::function<void(const std::string& note)>& handler) const;

private:
    void complete(Report& report) const;
    [[nodiscard]] std::string sectionText() const;

    std::filesystem::path folder_;
    Wording wording_;
    std::function<std::string()> section_;
};

} // namespace tessivar
