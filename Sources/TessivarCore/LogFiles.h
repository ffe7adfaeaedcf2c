// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/Log.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace tessivar {

/// Where the log is kept: bounded files of our own, and the system's journal where one runs. Usable from any
/// thread; never fails (a line that can't be written is dropped).
///
/// One line a message: time (UTC, milliseconds), level, category, text, separated by blanks. Line breaks and
/// other control characters within a message are written as escapes. What is hidden (log::hidden) keeps its
/// marks in the files only.
class LogFiles {
public:
    struct Options {
        std::filesystem::path file;                 ///< Its folder is created when missing.
        std::size_t bytesPerFile = 1024UL * 1024UL; ///< The file is then moved on to "name.1.log" and so on.
        std::size_t files = 3;                      ///< Kept at most, the current one included.
        std::string journalIdentifier{};            ///< Our name in the journal; empty: not told to it.
    };

    explicit LogFiles(Options options);
    ~LogFiles();
    LogFiles(const LogFiles&) = delete;
    LogFiles& operator=(const LogFiles&) = delete;

    void write(Log::Level level, std::string_view category, std::string_view message) noexcept;

    /// The lines of the last minutes as the user sees them, oldest first, from earlier runs too; of the
    /// latest 8 MiB at most. Reads files: not for the main thread.
    [[nodiscard]] std::string recent(std::chrono::minutes last) const;
    /// The same with what is hidden still marked, for reports that leave it out.
    [[nodiscard]] std::string recentMarked(std::chrono::minutes last) const;

    /// A sentence on why nothing is kept in the file; empty when all is well.
    [[nodiscard]] const std::string& problem() const { return problem_; }

private:
    struct Files;
    std::unique_ptr<Files> files_;
    Options options_;
    bool journal_ = false;
    std::string problem_;
};

} // namespace tessivar
