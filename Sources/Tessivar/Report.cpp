// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Report.h"

#include "TessivarCore/AtomicFile.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <system_error>
#include <tuple>

namespace tessivar {

namespace {

constexpr std::string_view magic = "Report 1";
constexpr std::string_view suffix = ".report";
constexpr std::size_t longestReport = 1024UL * 1024UL;
constexpr int hexadecimal = 16;

/// The text up to the separator, which is taken off `rest` with it.
std::string_view take(std::string_view& rest, char separator) {
    const auto end = rest.find(separator);
    const auto taken = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return taken;
}

template <class Number>
std::optional<Number> parsed(std::string_view text, int base = 10) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

void addFrame(Report& report, std::string_view line) {
    const bool inOrder = parsed<std::size_t>(take(line, ' ')) == report.frames.size();
    const auto module = take(line, ' ');
    const auto offset = parsed<std::uint64_t>(take(line, ' '), hexadecimal);
    if (inOrder && offset) {
        report.frames.push_back({std::string(module), *offset, std::string(line)});
    }
}

void addLines(Report& report, std::string_view text) {
    bool inStack = false;
    while (!text.empty()) {
        const auto line = take(text, '\n');
        const auto colon = line.find(": ");
        if (line == "Stack:" || line == "End") {
            inStack = line != "End";
        } else if (line == "Section:") {
            report.section = text;
            return;
        } else if (colon != std::string_view::npos) {
            report.facts.try_emplace(std::string(line.substr(0, colon)), line.substr(colon + 2));
        } else if (inStack) {
            addFrame(report, line);
        }
    }
}

/// Kind and run from the name; nothing when it isn't a report's.
std::optional<Report> named(const std::filesystem::path& file) {
    const std::string name = file.filename();
    const auto dash = name.find('-');
    if (!name.ends_with(suffix) || dash >= name.size() - suffix.size()) {
        return std::nullopt;
    }
    const auto run = RunID::fromName(name.substr(dash + 1, name.size() - suffix.size() - dash - 1));
    const bool isHang = name.starts_with("hang");
    if (!run || (!isHang && !name.starts_with("crash"))) {
        return std::nullopt;
    }
    Report report;
    report.file = file;
    report.run = *run;
    report.isHang = isHang;
    return report;
}

/// Those with a report's name, read or not; oldest first, which unreadable ones count as.
std::vector<Report> allIn(const std::filesystem::path& folder, bool readableOnly) {
    std::vector<Report> all;
    std::error_code error;
    for (auto entry = std::filesystem::directory_iterator(folder, error);
         !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        auto report = Report::read(entry->path());
        if (!report && !readableOnly) {
            report = named(entry->path());
        }
        if (report) {
            all.push_back(std::move(*report));
        }
    }
    std::ranges::sort(all, {}, [](const Report& report) { return std::tuple(report.time(), report.file); });
    return all;
}

} // namespace

void writeReportHead(ReportWriter& writer, const ReportHead& head) {
    writer.text("Report 1\nKind: ").text(head.kind).text("\nProgram: ").text(head.program);
    writer.text("\nVersion: ").text(head.version).text("\nBegan: ").decimal(head.began);
    writer.text("\nTime: ").decimal(head.time).text("\n");
}

std::string reportName(std::string_view kind, const RunID& run) {
    return std::string(kind) + "-" + run.name() + std::string(suffix);
}

std::string_view Report::fact(std::string_view key) const {
    const auto found = facts.find(key);
    return found == facts.end() ? std::string_view() : found->second;
}

std::optional<std::int64_t> Report::number(std::string_view key) const {
    return parsed<std::int64_t>(fact(key));
}

std::optional<Report> Report::read(const std::filesystem::path& file) {
    auto report = named(file);
    try {
        const auto text = report ? AtomicFile(file).read(longestReport) : std::nullopt;
        std::string_view rest = text ? *text : std::string_view();
        if (take(rest, '\n') != magic) {
            return std::nullopt;
        }
        addLines(*report, rest);
        return report;
    } catch (const SystemError&) {
        return std::nullopt;
    }
}

std::vector<Report> reportsIn(const std::filesystem::path& folder) {
    return allIn(folder, true);
}

void removeOldReports(const std::filesystem::path& folder) {
    const auto all = allIn(folder, false);
    const auto old = all.size() - std::min(all.size(), reportsKept);
    for (const Report& report : std::span(all).first(old)) {
        std::error_code ignored;
        std::filesystem::remove(report.file, ignored);
    }
}

} // namespace tessivar
