// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"

#include "Fluvane/Client/AddedFiles.h"
#include "Fluvane/Client/CommandTable.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Client/StandardStreams.h"
#include "Fluvane/Client/Usage.h"
#include "FluvaneCore/Words.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <thread>
#include <utility>

namespace fluvane::cli {

namespace {

constexpr int triesAfterLaunch = 50;
/// A stopped application would hold every try up.
constexpr std::chrono::seconds patienceAfterLaunch{15};
constexpr std::chrono::milliseconds betweenTries{100};

std::string lowercased(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

bool exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

bool takesText(const std::string& option) {
    static constexpr std::array<std::string_view, 8> options = {
        "--checksum", "--sha256", "--sha1", "--md5", "--header", "--cookies", "--user-agent", "--referrer"};
    return std::ranges::find(options, option) != options.end();
}

void rewriteAdd(std::vector<std::string>& arguments) {
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (takesText(arguments[i])) {
            ++i; // what follows is no path, whatever has its name
        } else if (arguments[i - 1] == "--to") {
            // Every folder, not only the first: the application has no current folder to read the others by.
            arguments[i] = dataFolders::absolutePath(arguments[i]);
        } else if (arguments[i].find("://") == std::string::npos) {
            auto path = dataFolders::absolutePath(arguments[i]);
            if (exists(path)) {
                arguments[i] = std::move(path);
            }
        }
    }
}

std::optional<Answer> sendOrLaunch(const std::vector<std::string>& arguments, bool mayLaunch,
                                   const Effects& effects) {
    if (!canBeSent(arguments)) {
        return std::nullopt;
    }
    auto answer = effects.send(arguments);
    if (answer || !mayLaunch || !effects.launch()) {
        return answer;
    }
    const auto giveUp = std::chrono::steady_clock::now() + patienceAfterLaunch;
    for (int i = 0; i < triesAfterLaunch && !answer && std::chrono::steady_clock::now() < giveUp; ++i) {
        effects.sleep(betweenTries);
        answer = effects.send(arguments);
    }
    return answer;
}

/// The exit status. A reader that has gone, such as `head`, knows why.
int print(const std::string& text, const Effects& effects) {
    const auto problem = effects.output(text + "\n");
    if (problem && problem != std::errc::broken_pipe) {
        effects.error("Couldn't write the output: " + problem.message() + "\n");
    }
    return problem ? 1 : 0;
}

} // namespace

std::vector<std::string> rewritten(std::vector<std::string> arguments) {
    arguments[0] = lowercased(std::move(arguments[0]));
    if (arguments[0] == "add") {
        rewriteAdd(arguments);
    } else if (const auto* const command = commandNamed(arguments[0]);
               command && command->takesPath && arguments.size() > 1) {
        arguments[1] = dataFolders::absolutePath(arguments[1]);
    }
    return arguments;
}

int run(const std::vector<std::string>& arguments, const Effects& effects) {
    const std::string name = lowercased(arguments.empty() ? "help" : arguments[0]);
    if (name == "help" || name == "--help" || name == "-h") {
        return print(usageText(), effects);
    }
    const auto* const command = commandNamed(name);
    if (!command) {
        effects.error("Unknown command '" + words::escaped(arguments[0]) + "'. Try: fluvane help\n");
        return 2;
    }
    auto request = rewritten(arguments);
    if (request[0] == "add") {
        auto read = AddedFiles::read(std::move(request));
        if (!read.problem.empty()) {
            effects.error(read.problem + "\n");
            return 1;
        }
        request = std::move(read.arguments);
    }
    const auto answer = sendOrLaunch(request, command->launches, effects);
    if (!answer) {
        effects.error("Fluvane isn't running.\n");
        return 1;
    }
    if (!answer->ok) {
        effects.error(answer->text + "\n");
        return 1;
    }
    return answer->text.empty() ? 0 : print(answer->text, effects);
}

int run(const std::vector<std::string>& arguments) {
    return run(
        arguments,
        {
            .send = [](const auto& list) { return send(list, dataFolders::controlSocket()); },
            .launch = [] { return launchApp(); },
            .sleep = [](auto time) { std::this_thread::sleep_for(time); },
            .output = [](std::string_view text) { return standardStreams::write(STDOUT_FILENO, text); },
            .error = [](std::string_view text) { standardStreams::write(STDERR_FILENO, text); },
        });
}

} // namespace fluvane::cli
