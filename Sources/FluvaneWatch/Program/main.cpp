// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Client/StandardStreams.h"
#include "FluvaneCore/Text.h"
#include "FluvaneWatch/Phrases.h"
#include "FluvaneWatch/Program/Terminal.h"
#include "FluvaneWatch/Watch.h"
#include "TessivarPhrases/Language.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace fluvane;
using namespace fluvane::watch;
using tessivar::phrase;

namespace {

constexpr std::string_view usage =
    "Usage: fluvane-watch [number…]\n"
    "\n"
    "Shows the downloads with these numbers, or without any all that are running or waiting\n"
    "their turn, until each of them has ended. `fluvane list` shows the numbers.\n"
    "\n"
    "A download that is paused, or whose link has expired, has ended too: it needs somebody.\n"
    "One that waits for the network or for another try goes on.\n"
    "\n"
    "Exit status: 0 when every download finished and matched its checksum, 1 when one didn't,\n"
    "2 for arguments that make no sense.\n";

constexpr std::chrono::milliseconds betweenPictures{300};
constexpr double betweenProgressLines = 3; // seconds
constexpr double graceForAnswer = 2;       // seconds

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int complain(std::string_view sentence) {
    standardStreams::write(STDERR_FILENO, fmt::format("{}\n", sentence));
    return 1;
}

/// False when it couldn't be. A reader that has gone, such as `head`, knows why.
bool writeOut(std::string_view text) {
    const auto problem = standardStreams::write(STDOUT_FILENO, text);
    if (problem && problem != std::errc::broken_pipe) {
        complain(phrase("Couldn't write the output: %1", tessivar::keptShown("kept", problem.message())));
    }
    return !problem;
}

std::optional<std::vector<Row>> ask() {
    const auto answer = cli::send({"list"}, dataFolders::controlSocket());
    return answer && answer->ok ? parseListing(answer->text) : std::nullopt;
}

/// The next list, asked for again while there is no answer: an application that is very busy, or is being
/// started again, is no reason to give up at once.
std::optional<std::vector<Row>> askPatiently() {
    const double until = now() + graceForAnswer;
    auto rows = ask();
    while (!rows && now() < until) {
        waitForNextPicture(betweenPictures);
        rows = ask();
    }
    return rows;
}

/// Where the downloads are shown.
class View {
public:
    virtual ~View() = default;
    /// False when there is nobody to show it to.
    virtual bool show(const Watch& watch) = 0;
};

class DrawnView : public View {
public:
    bool show(const Watch& watch) override {
        const auto style = terminal_.style();
        terminal_.draw(layout(watch.rows(), style), style);
        return true;
    }

private:
    Terminal terminal_;
};

/// A line for each download whenever its state changes, and now and then its progress.
class PlainView : public View {
public:
    bool show(const Watch& watch) override {
        for (const auto& row : watch.rows()) {
            auto& [state, isChecked, at, line] = said_[row.id];
            const bool isSame = state == row.state && isChecked == row.checksumMatches.has_value();
            if (isSame && now() - at < betweenProgressLines) {
                continue;
            }
            auto next = plainLine(row) + "\n";
            state = row.state;
            isChecked = row.checksumMatches.has_value();
            at = now();
            if (next != line && !writeOut(next)) {
                return false;
            }
            line = std::move(next);
        }
        return true;
    }

private:
    struct Said {
        std::optional<RowState> state;
        bool isChecked = false;
        double at = 0;
        std::string line;
    };
    std::map<DownloadID, Said> said_;
};

std::unique_ptr<View> view() {
    if (isDrawable()) {
        return std::make_unique<DrawnView>();
    }
    return std::make_unique<PlainView>();
}

int conclude(const Watch& watch) {
    for (const auto& sentence : watch.problems()) {
        complain(sentence);
    }
    return watch.allFinished() ? 0 : 1;
}

int run(Watch watch) {
    auto rows = ask();
    if (!rows) {
        return complain(phrase("Fluvane isn't running."));
    }
    watch.update(*rows, now());
    for (const auto number : watch.unknown()) {
        return complain(
            phrase("No download %1. `fluvane list` shows their numbers.", fluvane::number(number)));
    }
    if (watch.rows().empty()) {
        return writeOut(phrase("No download is running.") + "\n") ? 0 : 1;
    }
    auto shown = view();
    bool seen = false;
    while ((seen = shown->show(watch)) && !watch.ended()) {
        waitForNextPicture(betweenPictures);
        rows = askPatiently();
        if (!rows) {
            shown.reset();
            return complain(phrase("Fluvane stopped running, so the downloads can't be watched any longer."));
        }
        watch.update(*rows, now());
    }
    shown.reset();
    const int status = conclude(watch);
    return seen ? status : 1;
}

std::optional<std::vector<DownloadID>> numbers(const std::vector<std::string>& arguments) {
    std::vector<DownloadID> parsed;
    for (const auto& argument : arguments) {
        const auto number = text::wholeNumber(argument);
        if (!number || argument.starts_with('-') || argument.starts_with('+')) {
            return std::nullopt;
        }
        parsed.push_back(DownloadID{*number});
    }
    return parsed;
}

} // namespace

int main(int count, char** values) {
    standardStreams::keep();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a write past a file-size limit fails instead
    const std::vector<std::string> arguments(values + std::min(count, 1), values + count);
    if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "-h")) {
        return writeOut(usage) ? 0 : 1;
    }
    // What isn't UTF-8 can't show what isn't ASCII.
    if (endsInUTF8()) {
        tessivar::setLanguage(tessivar::readLanguage(::getenv, tessivar::catalogueFolders(), "fluvane"));
    }
    const auto wanted = numbers(arguments);
    if (!wanted) {
        standardStreams::write(STDERR_FILENO, usage);
        return 2;
    }
    return run(Watch(*wanted));
}
