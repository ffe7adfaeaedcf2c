// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Links/Links.h"
#include "FluvaneCore/Objections.h"
#include "FluvaneCore/StateName.h"
#include "FluvaneCore/Text.h"
#include "FluvaneEngine/Abilities.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

namespace {

Reply done() {
    return {};
}
Reply failure(std::string text) {
    return {.ok = false, .text = std::move(text)};
}

Reply noDownload(const std::string& typed) {
    return failure("No download " + typed + ". `fluvane list` shows their numbers.");
}

bool isOffWord(const std::string& argument) {
    const std::string word = text::lowercased(argument);
    return word == "off" || word == "no" || word == "false";
}

std::string joined(const std::vector<std::string>& words, std::size_t from,
                   const std::string& separator = " ") {
    std::string result;
    for (std::size_t i = from; i < words.size(); ++i) {
        result += (i > from ? separator : "") + words[i];
    }
    return result;
}

} // namespace

struct CommandCenter::Command {
    std::string_view name;
    Reply (CommandCenter::*carryOut)(const Arguments&);
    /// Its reply promises that a change of the list will not be lost.
    bool changesList = false;
};

const CommandCenter::Command* CommandCenter::find(std::string_view name) {
    static constexpr std::array commands = {
        Command{"add", &CommandCenter::add, true},
        Command{"list", &CommandCenter::list},
        Command{"pause", &CommandCenter::pause, true},
        Command{"resume", &CommandCenter::resume, true},
        Command{"remove", &CommandCenter::remove, true},
        Command{"next", &CommandCenter::next, true},
        Command{"prioritize", &CommandCenter::prioritize, true},
        Command{"link", &CommandCenter::link, true},
        Command{"checksum", &CommandCenter::checksum, true},
        Command{"limit", &CommandCenter::limit},
        Command{"show", &CommandCenter::show},
        Command{"settings", &CommandCenter::settings},
        Command{"welcome", &CommandCenter::welcome},
        Command{"whats-new", &CommandCenter::whatsNew},
        Command{"crash-note", &CommandCenter::crashNote},
        Command{"state", &CommandCenter::state},
        Command{"update", &CommandCenter::update},
        Command{"export", &CommandCenter::exportSettings},
        Command{"import", &CommandCenter::importSettings},
        // Of the browser's side; nobody types them.
        Command{"--offer", &CommandCenter::offer},
        Command{"--offer-state", &CommandCenter::offerState},
        Command{"--offer-verdict", &CommandCenter::offerVerdict, true},
        Command{"--running", &CommandCenter::running},
    };
    const auto* found = std::ranges::find(commands, name, &Command::name);
    return found == commands.end() ? nullptr : found;
}

CommandCenter::CommandCenter(DownloadManager& manager, SettingsAccess& settings, Rooms rooms)
    : manager_(manager), settings_(settings), rooms_(std::move(rooms)),
      offers_({manager, settings, rooms_.scheduler, rooms_.windows, rooms_.offers}) {}

void CommandCenter::run(const Arguments& arguments, const ReplyCompletion& completion) {
    if (arguments.empty()) {
        return completion(failure("No command."));
    }
    const std::string name = text::lowercased(arguments[0]);
    if (runLater(name, arguments, completion)) {
        return;
    }
    const Command* command = find(name);
    if (!command) {
        return completion(failure("Unknown command '" + name + "'. Try: fluvane help"));
    }
    Reply reply = (this->*command->carryOut)({arguments.begin() + 1, arguments.end()});
    if (!command->changesList || !reply.ok) {
        return completion(std::move(reply));
    }
    manager_.whenSaved([completion, reply = std::move(reply)](const std::optional<std::string>& error) {
        completion(error ? failure("It is done, but the list of downloads can't be saved: " + *error)
                         : reply);
    });
}

/// The commands that gather something first.
bool CommandCenter::runLater(const std::string& name, const Arguments& arguments,
                             const ReplyCompletion& completion) {
    if (name == "snapshot") {
        snapshot({arguments.begin() + 1, arguments.end()}, completion);
        return true;
    }
    const auto& gather = name == "log" ? rooms_.log : rooms_.diagnostics;
    if (!gather || (name != "log" && name != "diagnostics")) {
        return false;
    }
    gather([completion](std::string text) {
        if (text.ends_with('\n')) {
            text.pop_back(); // the client ends what it prints
        }
        completion({.ok = true, .text = std::move(text)});
    });
    return true;
}

Reply CommandCenter::offer(const Arguments& arguments) {
    return arguments.size() == 1 ? offers_.take(arguments[0]) : failure("That wasn't an offer.");
}

Reply CommandCenter::offerState(const Arguments& arguments) {
    return arguments.size() == 1 ? offers_.state(arguments[0]) : failure("No such offer.");
}

Reply CommandCenter::offerVerdict(const Arguments& arguments) {
    const bool isOne = arguments.size() == 2 && (arguments[1] == "canceled" || arguments[1] == "kept");
    return isOne ? offers_.verdict(arguments[0], arguments[1] == "canceled") : failure("No such offer.");
}

Reply CommandCenter::running(const Arguments& /*arguments*/) {
    return offers_.running();
}

const Download* CommandCenter::numbered(const Arguments& arguments) const {
    const auto number = arguments.empty() ? std::nullopt : text::wholeNumber(arguments[0]);
    return number ? manager_.download(DownloadID{*number}) : nullptr;
}

Reply CommandCenter::pause(const Arguments& arguments) {
    return onDownloads("pause", arguments, &DownloadManager::pauseAll, &DownloadManager::pause);
}

Reply CommandCenter::resume(const Arguments& arguments) {
    return onDownloads("resume", arguments, &DownloadManager::resumeAll, &DownloadManager::resume);
}

Reply CommandCenter::remove(const Arguments& arguments) {
    return onDownloads("remove", arguments, nullptr, &DownloadManager::remove);
}

Reply CommandCenter::onDownloads(const char* command, const Arguments& arguments, All all, One one) {
    if (arguments.empty()) {
        return failure(std::string("Say which download: fluvane ") + command + " <number|all>");
    }
    if (all && arguments[0] == "all") {
        (manager_.*all)();
        return done();
    }
    const Download* download = numbered(arguments);
    if (!download) {
        return noDownload(arguments[0]);
    }
    (manager_.*one)(download->id());
    return done();
}

Reply CommandCenter::next(const Arguments& arguments) {
    const Download* download = numbered(arguments);
    if (!download) {
        return failure("Say which download: fluvane next <number>. `fluvane list` shows their numbers.");
    }
    if (!canBeNext(download->record.state)) {
        return failure("Download " + std::to_string(number(download->id())) +
                       " isn't waiting its turn or paused.");
    }
    manager_.downloadNext(download->id());
    return done();
}

Reply CommandCenter::prioritize(const Arguments& arguments) {
    const Download* download = numbered(arguments);
    if (!download) {
        return failure("Say which download: fluvane prioritize <number> [off]");
    }
    const bool on = arguments.size() < 2 || !isOffWord(arguments[1]);
    const DownloadState& state = download->record.state;
    if (on && !canGoFirst(state)) {
        return failure("Download " + std::to_string(number(download->id())) + " can't go first now: it's " +
                       std::string(stateName(state)) + ".");
    }
    manager_.prioritize(download->id(), on);
    return done();
}

Reply CommandCenter::link(const Arguments& arguments) {
    const Download* download = numbered(arguments);
    const auto links = arguments.size() == 2 ? links::find(arguments[1]) : std::vector<URL>();
    if (!download || links.empty()) {
        return failure("Usage: fluvane link <number> <fresh link>");
    }
    if (links[0].absoluteString().size() > words::longestLink) {
        return failure(std::string(words::linkTooLong));
    }
    manager_.updateLink(download->id(), links[0]);
    return done();
}

Reply CommandCenter::checksum(const Arguments& arguments) {
    const Download* download = numbered(arguments);
    if (!download) {
        return failure("Usage: fluvane checksum <number> <SHA-256, SHA-1 or MD5>, or none to take it away");
    }
    const std::string typed = joined(arguments, 1);
    if (arguments.size() < 2 || typed == "none") {
        manager_.setChecksum(download->id(), std::nullopt);
        return done();
    }
    const auto checksum = Checksum::recognise(typed);
    if (!checksum) {
        return failure(std::string(words::unknownChecksum));
    }
    const bool isFinished = download->record.state.is<DownloadState::Finished>();
    manager_.setChecksum(download->id(), checksum);
    return {.ok = true, .text = isFinished ? "Checking the finished file" : "Checked once every byte is in"};
}

Reply CommandCenter::show(const Arguments& arguments) {
    if (!arguments.empty() && !numbered(arguments)) {
        return noDownload(arguments[0]);
    }
    const Download* download = numbered(arguments);
    return window([&](Windows& windows) {
        windows.showDownloads(download ? std::optional(download->id()) : std::nullopt);
    });
}

Reply CommandCenter::window(const std::function<void(Windows&)>& ask) {
    if (!rooms_.windows) {
        return failure("There's no window to show: Fluvane runs without a display.");
    }
    ask(*rooms_.windows);
    return done();
}

Reply CommandCenter::settings(const Arguments& arguments) {
    return window([&](Windows& windows) {
        windows.showSettings(arguments.empty() ? "" : text::lowercased(arguments[0]));
    });
}

Reply CommandCenter::welcome(const Arguments& /*arguments*/) {
    return window(&Windows::showWelcome);
}

Reply CommandCenter::whatsNew(const Arguments& /*arguments*/) {
    return window(&Windows::showWhatsNew);
}

/// Without a window the note is printed.
Reply CommandCenter::crashNote(const Arguments& /*arguments*/) {
    return rooms_.crashNote && !rooms_.windows ? Reply{.ok = true, .text = rooms_.crashNote()}
                                               : window(&Windows::showCrashNote);
}

Reply CommandCenter::state(const Arguments& /*arguments*/) {
    std::string text;
    Reply reply = window([&](Windows& windows) { text = windows.state(); });
    return reply.ok ? Reply{.ok = true, .text = std::move(text)} : reply;
}

void CommandCenter::snapshot(const Arguments& arguments, const ReplyCompletion& completion) {
    const std::string folder = !arguments.empty() ? arguments[0] : dataFolders::snapshots();
    const std::string prefix = arguments.size() > 1 ? arguments[1] + "-" : "";
    const Reply reply = window([&](Windows& windows) {
        windows.snapshot({.folder = folder, .prefix = prefix},
                         [completion](const auto& paths, const std::string& problem) {
                             completion(problem.empty() ? Reply{.ok = true, .text = joined(paths, 0, "\n")}
                                                        : failure(problem));
                         });
    });
    if (!reply.ok) {
        completion(reply);
    }
}

Reply CommandCenter::update(const Arguments& /*arguments*/) {
    if (!rooms_.update) {
        return failure("This build doesn't check for updates.");
    }
    rooms_.update();
    return done();
}

} // namespace fluvane
