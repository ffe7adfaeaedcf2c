// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/CrashNote.h"

#include "Tessivar/Report.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iterator>
#include <memory>
#include <set>

namespace tessivar {

namespace {

constexpr auto nothingNoted = markedIn("kept", "No crash or hang has been noted.");

std::string dated(std::int64_t seconds, const char* format, tm* (*broken)(const time_t*, tm*)) {
    const auto time = static_cast<time_t>(seconds);
    tm parts{};
    return broken(&time, &parts) ? fmt::format(fmt::runtime(format), parts)
                                 : kept("kept", "at an unknown time");
}

/// For a person, on the clock on the wall.
std::string onThatDay(std::int64_t seconds) {
    const auto day = dated(seconds, "{:%Y-%m-%d}", localtime_r);
    return kept("kept", "on %1 at %2", day, dated(seconds, "{:%H:%M}", localtime_r));
}

std::string inUniversalTime(std::int64_t seconds) {
    return dated(seconds, "{:%Y-%m-%d %H:%M:%S} UTC", gmtime_r);
}

// Whole sentences in English, each in a line of its own, which a window translates as it shows them.

std::string whatHappened(const Report& report) {
    const auto& name = AppIdentity::current.displayName;
    const auto when = onThatDay(report.time());
    if (!report.isHang) {
        return kept("kept", "%1 ended unexpectedly %2.", name, when);
    }
    if (const auto lasted = report.number("Lasted")) {
        const auto seconds = fmt::format("{:.1f}", static_cast<double>(*lasted) / 1000.0);
        return kept("kept", "%1 didn't answer for %2 seconds %3.", name, seconds, when);
    }
    return report.run.isAlive() ? kept("kept", "%1 stopped answering %2.", name, when)
                                : kept("kept", "%1 stopped answering %2 and was ended.", name, when);
}

std::string introduction(const Report& report, const CrashNote::Wording& wording) {
    std::string text = whatHappened(report) + "\n";
    for (const auto& sentence :
         {wording.survived,
          report.isHang ? kept("kept", "The report below tells where in the program it stopped.")
                        : kept("kept", "The report below tells where in the program it ended."),
          wording.section, wording.neverHeld}) {
        text += sentence.empty() ? sentence : sentence + "\n";
    }
    return text + "\n";
}

/// The type's name as a person writes it.
std::string demangled(const std::string& name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? text.get() : name;
}

std::string circumstances(const Report& report) {
    std::string text =
        fmt::format("{} {} ({})\nStarted: {}\n{}: {}\n", report.fact("Program"), report.fact("Version"),
                    report.isHang ? "hang" : "crash", inUniversalTime(report.number("Began").value_or(0)),
                    report.isHang ? "Hung" : "Crashed", inUniversalTime(report.time()));
    for (const char* key : {"Signal", "Code", "Address", "Reason", "Thread", "State", "Limit", "Lasted"}) {
        if (const auto value = report.fact(key); !value.empty()) {
            text += fmt::format("{}: {}\n", key, value);
        }
    }
    if (const auto type = report.fact("Exception"); !type.empty()) {
        text += fmt::format("Exception: {}\n", demangled(std::string(type)));
    }
    return text;
}

std::string stackOf(const Report& report) {
    if (report.frames.empty()) {
        return "Stack: none could be taken\n";
    }
    std::string text = "Stack:\n";
    std::set<std::pair<std::string, std::string>> modules;
    for (std::size_t at = 0; at < report.frames.size(); ++at) {
        const auto& frame = report.frames[at];
        text += fmt::format("{:3}  {}", at, frame.module);
        text += frame.module == "?" ? "\n" : fmt::format(" +0x{:x}\n", frame.offset);
        modules.emplace(frame.module, frame.buildID);
    }
    text += "Build ids:\n";
    for (const auto& [module, id] : modules) {
        text += module == "?" ? "" : fmt::format("     {} {}\n", module, id);
    }
    return text;
}

std::string noteOn(const Report& report, const CrashNote::Wording& wording) {
    return introduction(report, wording) + circumstances(report) + stackOf(report) +
           (report.section.empty() ? "" : "\n" + report.section);
}

void addLines(const Report& report, const std::string& lines) {
    const AtomicFile file(report.file);
    std::string text = file.read().value_or("");
    if (!text.ends_with('\n')) {
        text += '\n'; // the crash may have cut the last line off
    }
    file.write(text + lines);
}

std::string dateLine(const char* key) {
    return fmt::format("{}: {}\n", key, std::time(nullptr));
}

bool isNoted(const Report& report) {
    return !report.fact("Noted").empty();
}

bool isCompleted(const Report& report) {
    return !report.fact("Completed").empty();
}

/// A start took it up and ended before it was through, so nobody has seen it yet.
bool isHalfDone(const Report& report) {
    return isNoted(report) && !isCompleted(report);
}

void passOver(const Report& report) {
    addLines(report, dateLine("Noted") + dateLine("Completed"));
}

template <class Work>
void tryTo(const Work& work) {
    try {
        work();
    } catch (const std::exception& error) {
        log::lifecycle.error("a crash report couldn't be completed", error);
    }
}

} // namespace

CrashNote::CrashNote(std::filesystem::path folder, Wording wording, std::function<std::string()> section)
    : folder_(std::move(folder)), wording_(std::move(wording)), section_(std::move(section)) {}

std::string CrashNote::latest() const {
    const auto reports = reportsIn(folder_);
    return reports.empty() ? nothingNoted : noteOn(reports.back(), wording_);
}

void CrashNote::showIfNeeded(const std::function<void(const std::string& note)>& handler) const {
    const RunID self = RunID::current();
    auto reports = reportsIn(folder_);
    const bool isSafe = std::ranges::none_of(reports, isHalfDone);
    for (Report& report : reports) {
        if (isCompleted(report) || report.run == self) {
            continue;
        }
        tryTo([&] { isSafe ? complete(report) : passOver(report); });
        handler(noteOn(report, wording_));
    }
}

/// Step by step, each in the file before the next, which may end the process.
void CrashNote::complete(Report& report) const {
    addLines(report, dateLine("Noted"));
    report.section = sectionText();
    addLines(report, dateLine("Completed") + (report.section.empty() ? "" : "Section:\n" + report.section));
}

std::string CrashNote::sectionText() const {
    try {
        return section_ ? section_() : "";
    } catch (const std::exception& error) {
        log::lifecycle.error("a crash report lacks its section", error);
        return "";
    }
}

} // namespace tessivar
