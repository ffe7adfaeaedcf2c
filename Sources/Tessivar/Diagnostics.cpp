// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Diagnostics.h"

#include "Tessivar/Scrubber.h"
#include "Tessivar/SystemFacts.h"
#include "TessivarBase/ASCII.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

namespace tessivar {

namespace {

using Section = Diagnostics::Section;

constexpr std::size_t mostErrors = 30;
constexpr const char* late = "This couldn't be found out in time.\n";

std::string_view takeWord(std::string_view& line) {
    const auto end = std::min(line.find(' '), line.size());
    const auto word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

bool isPlain(std::string_view word) {
    return std::ranges::all_of(word, [](char c) { return c >= 'a' && c <= 'z'; });
}

/// The error in a line of the log, fit to be sent; absent when it is none.
std::optional<std::string> errorIn(std::string_view line, const Scrubber& scrubber) {
    const auto time = takeWord(line);
    const auto level = takeWord(line);
    const auto category = takeWord(line);
    const bool isTime = std::ranges::all_of(time, [](char c) {
        return ascii::isDigit(c) || c == '-' || c == ':' || c == '.' || c == 'T' || c == 'Z';
    });
    if (level != "error" || !isTime || !isPlain(category)) {
        return std::nullopt;
    }
    return fmt::format("{} {}: {}\n", time, category, scrubber.scrubbed(line));
}

std::string recentErrors(std::string_view log) {
    const Scrubber scrubber(namesOfUserAndHost());
    std::deque<std::string> latest;
    while (!log.empty()) {
        const auto line = log.substr(0, log.find('\n'));
        if (auto error = errorIn(line, scrubber)) {
            latest.push_back(std::move(*error));
        }
        if (latest.size() > mostErrors) {
            latest.pop_front();
        }
        log.remove_prefix(std::min(line.size() + 1, log.size()));
    }
    const auto text = fmt::format("{}", fmt::join(latest, ""));
    return text.empty() ? "None.\n" : text;
}

std::string indented(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        result += fmt::format("  {}\n", line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return result;
}

/// What the other thread finds out.
struct Findings {
    std::string versions;
    std::string desktop;
    std::string process;
    std::string errors;
};

Findings gather(const std::function<std::string()>& log) {
    Findings findings{.versions = systemFacts::versions(),
                      .desktop = systemFacts::desktop(),
                      .process = systemFacts::process(),
                      .errors = {}};
    try {
        findings.errors = recentErrors(log ? log() : std::string());
    } catch (const std::exception&) {
        findings.errors = "The log couldn't be read.\n";
    }
    return findings;
}

/// A report in the making.
struct Making {
    std::vector<Section> sections;
    std::vector<std::optional<bool>> found;
    std::optional<Findings> findings;

    [[nodiscard]] bool isComplete() const {
        return findings && std::ranges::all_of(found, [](const auto& one) { return one.has_value(); });
    }
};

std::string answerText(const std::optional<bool>& found) {
    if (!found) {
        return "no answer";
    }
    return *found ? "found" : "not found";
}

std::vector<Section> sectionsFrom(const std::function<std::vector<Section>()>& source) {
    try {
        return source ? source() : std::vector<Section>();
    } catch (const std::exception&) { // its text may be about anything
        return {{.title = "The application", .text = "This couldn't be gathered.\n"}};
    }
}

} // namespace

struct Diagnostics::State : std::enable_shared_from_this<State> {
    State(Options options_, MainContext context_)
        : options(std::move(options_)), context(std::move(context_)) {}

    void begin();
    void askServices();
    void startGathering();
    void answered(const std::weak_ptr<Making>& report);
    void deliver(const std::weak_ptr<Making>& report);
    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::string versionsText() const;
    [[nodiscard]] std::string servicesText() const;
    /// Wraps work for the main queue that is dropped once the owner is gone.
    template <class Work>
    auto weakly(Work work) {
        return [weak = weak_from_this(), work = std::move(work)](auto&&... arguments) {
            if (const auto self = weak.lock()) {
                work(*self, std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

    Options options;
    MainContext context;
    std::vector<std::function<void(std::string)>> waiting;
    std::shared_ptr<Making> making;
    bool gathering = false; ///< The thread is busy, perhaps with an earlier report.
    std::thread thread;
};

Diagnostics::Diagnostics(Options options, MainContext context)
    : state_(std::make_shared<State>(std::move(options), std::move(context))) {}

Diagnostics::~Diagnostics() {
    if (state_->thread.joinable()) {
        state_->thread.join();
    }
}

void Diagnostics::report(std::function<void(std::string)> completion) {
    state_->waiting.push_back(std::move(completion));
    if (!state_->making) {
        state_->begin();
    }
}

void Diagnostics::State::begin() {
    making = std::make_shared<Making>();
    making->sections = sectionsFrom(options.sections);
    making->found.resize(options.services.size());
    const std::weak_ptr<Making> report = making;
    context.after(options.patience, weakly([report](State& self) { self.deliver(report); }));
    startGathering();
    askServices();
}

void Diagnostics::State::startGathering() {
    if (std::exchange(gathering, true)) {
        return; // the log is on a disk that doesn't answer: this report does without
    }
    if (thread.joinable()) {
        thread.join(); // it has nothing left to do
    }
    const std::weak_ptr<Making> report = making;
    try {
        thread = std::thread([this, report] {
            context.post(weakly([report, findings = gather(options.log)](State& self) {
                self.gathering = false;
                if (const auto still = report.lock()) {
                    still->findings = findings;
                    self.answered(report);
                }
            }));
        });
    } catch (const std::system_error&) {
        gathering = false;
    }
}

void Diagnostics::State::askServices() {
    const std::weak_ptr<Making> report = making;
    for (std::size_t index = 0; index < options.services.size(); ++index) {
        options.services[index].find(weakly([report, index](State& self, bool found) {
            if (const auto still = report.lock()) {
                still->found[index] = found;
                self.answered(report);
            }
        }));
    }
}

void Diagnostics::State::answered(const std::weak_ptr<Making>& report) {
    const auto still = report.lock();
    if (still && still->isComplete()) {
        context.post(weakly([report](State& self) { self.deliver(report); }));
    }
}

void Diagnostics::State::deliver(const std::weak_ptr<Making>& report) {
    if (!making || report.lock() != making) {
        return; // delivered already
    }
    const auto finished = text();
    making.reset();
    for (const auto& completion : std::exchange(waiting, {})) {
        completion(finished);
    }
}

std::string Diagnostics::State::versionsText() const {
    const auto& identity = AppIdentity::current;
    auto lines = fmt::format("{}: {}\n", identity.displayName, identity.version);
    for (const auto& [name, version] : options.versions) {
        lines += fmt::format("{}: {}\n", name, version);
    }
    return lines + (making->findings ? making->findings->versions : late);
}

std::string Diagnostics::State::servicesText() const {
    std::string lines;
    for (std::size_t index = 0; index < options.services.size(); ++index) {
        lines += fmt::format("{}: {}\n", options.services[index].name, answerText(making->found[index]));
    }
    return lines;
}

std::string Diagnostics::State::text() const {
    const auto& findings = making->findings;
    std::vector<Section> all = {{"Versions", versionsText()},
                                {"Desktop", findings ? findings->desktop : late},
                                {"Services", servicesText()}};
    all.insert(all.end(), making->sections.begin(), making->sections.end());
    all.push_back({"This process", findings ? findings->process : late});
    all.push_back({"Recent errors", findings ? findings->errors : late});
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    auto report = fmt::format("{} diagnostics of {:%Y-%m-%dT%H:%M:%SZ}: no links and no file names\n",
                              AppIdentity::current.displayName, fmt::gmtime(now));
    for (const auto& [title, lines] : all) {
        if (!lines.empty()) {
            report += fmt::format("\n{}\n{}", title, indented(lines));
        }
    }
    return report;
}

} // namespace tessivar
