// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/ReportWriter.h"
#include "Tessivar/RunID.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reports of crashes and hangs: a text file each, "crash-" or "hang", a number and "-", then the run's name
/// and ".report". Lines of "Key: value"; after "Stack:" a line per frame (number, module, offset and build
/// id, both hexadecimal) up to "End". A crash within the handler may leave fewer lines. What is found out
/// later is added behind: "Lasted" (of a hang, milliseconds), "Noted" when a start takes it up, "Completed"
/// when that start is through with it, and last "Section:" with the application's own lines. Which functions
/// the frames are in is found by Tools/symbolize, where the debug symbols are.
namespace tessivar {

inline constexpr std::size_t reportsKept = 5;

struct ReportHead {
    const char* kind; ///< "crash" or "hang".
    const char* program;
    const char* version;
    std::int64_t began; ///< The run, and
    std::int64_t time;  ///< what is reported; seconds since 1970.
};

/// Async-signal-safe.
void writeReportHead(ReportWriter& writer, const ReportHead& head);

/// `kind` as the name begins.
[[nodiscard]] std::string reportName(std::string_view kind, const RunID& run);

struct Report {
    struct Frame {
        std::string module; ///< "?" where it isn't known.
        std::uint64_t offset = 0;
        std::string buildID; ///< "-" where there is none.
    };

    std::filesystem::path file;
    RunID run;
    bool isHang = false;
    std::map<std::string, std::string, std::less<>> facts; ///< All other lines by their keys.
    std::vector<Frame> frames;
    std::string section;

    /// The value as it stands; empty when there is none.
    [[nodiscard]] std::string_view fact(std::string_view key) const;
    /// Absent when missing or no number.
    [[nodiscard]] std::optional<std::int64_t> number(std::string_view key) const;
    [[nodiscard]] std::int64_t time() const { return number("Time").value_or(0); }

    /// The file's text; absent when it can't be read. Never throws for what a file may hold.
    static std::optional<Report> read(const std::filesystem::path& file);
};

/// All that can be read, oldest first.
[[nodiscard]] std::vector<Report> reportsIn(const std::filesystem::path& folder);

/// Leaves the newest few. Other files stay.
void removeOldReports(const std::filesystem::path& folder);

} // namespace tessivar
