// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Writes a manual or a shell's completions: a template with what the table of commands says in the places
// marked "%[…]". A part of the build; not installed.

#include "Fluvane/Client/CommandTable.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

using fluvane::CommandEntry;
using Place = CommandEntry::Place;
using Kind = Place::Kind;

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const auto part : parts) {
        text += part;
    }
    return text;
}

/// Commands that have the same at the same place after their name.
struct Shared {
    std::size_t position; ///< From 0.
    Place place;
    std::vector<std::string> commands;

    [[nodiscard]] std::string names(std::string_view between) const {
        std::string text;
        for (const auto& command : commands) {
            text += joined({text.empty() ? "" : between, command});
        }
        return text;
    }
};

std::vector<CommandEntry> allCommands() {
    std::vector<CommandEntry> all;
    for (const auto& group : fluvane::commandGroups()) {
        all.insert(all.end(), group.commands.begin(), group.commands.end());
    }
    return all;
}

std::vector<Shared> sharedPlaces() {
    std::vector<Shared> all;
    for (const auto& command : allCommands()) {
        for (std::size_t i = 0; i < command.places.size(); ++i) {
            const auto& place = command.places[i];
            const auto same = std::ranges::find_if(
                all, [&](const Shared& one) { return one.position == i && one.place == place; });
            if (same != all.end()) {
                same->commands.emplace_back(command.name);
            } else if (place.kind != Kind::nothing) {
                all.push_back({i, place, {std::string(command.name)}});
            }
        }
    }
    return all;
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::string briefOf(const CommandEntry& command) {
    return std::string(command.brief.empty() ? command.usage : command.brief);
}

// -- Manual

/// Words that are typed as they are, among arguments that otherwise stand for something.
bool isTyped(std::string_view word) {
    return word.starts_with("--") || word == "all" || word == "off" || word == "none";
}

/// "<n|all>" as "\fIn\fR|\fBall\fR".
std::string synopsis(std::string_view arguments) {
    std::string text;
    while (!arguments.empty()) {
        if (const auto end = std::min(arguments.find_first_of("<>[]| …"), arguments.size()); end > 0) {
            const auto word = arguments.substr(0, end);
            text += (isTyped(word) ? "\\fB" : "\\fI") + replaced(std::string(word), "-", "\\-") + "\\fR";
            arguments.remove_prefix(end);
        } else if (arguments.starts_with("…")) {
            text += " .\\|.\\|.";
            arguments.remove_prefix(std::string_view("…").size());
        } else {
            if (arguments[0] != '<' && arguments[0] != '>') {
                text += arguments[0];
            }
            arguments.remove_prefix(1);
        }
    }
    return text;
}

std::string manual() {
    std::string text;
    for (const auto& group : fluvane::commandGroups()) {
        text += ".SS " + std::string(group.title) + "\n";
        for (const auto& command : group.commands) {
            text += ".TP\n.BR " + replaced(std::string(command.name), "-", "\\-");
            if (!command.arguments.empty()) {
                text += " \" " + synopsis(command.arguments) + "\"";
            }
            text +=
                "\n" +
                (command.manual.empty() ? std::string(command.usage) + "." : std::string(command.manual)) +
                "\n";
        }
    }
    return text;
}

// -- bash

std::string bashNames() {
    std::string text;
    for (const auto& command : allCommands()) {
        text += (text.empty() ? "" : " ") + std::string(command.name);
    }
    return text;
}

std::string bashOffer(const Place& place) {
    switch (place.kind) {
    case Kind::number:
        return R"-(_fluvane_words "$(_fluvane_numbers)" "$word")-";
    case Kind::numberOrAll:
        return R"-(_fluvane_words "all $(_fluvane_numbers)" "$word")-";
    case Kind::word:
        return "_fluvane_words \"" + std::string(place.words) + "\" \"$word\"";
    case Kind::file:
        return R"(_fluvane_files -f "$word")";
    case Kind::folder:
        return R"(_fluvane_files -d "$word")";
    case Kind::text:
    case Kind::nothing:
        break;
    }
    return ":";
}

std::string bashPlaces() {
    std::string text;
    for (const auto& shared : sharedPlaces()) {
        if (shared.place.kind != Kind::text) {
            const auto position = ":" + std::to_string(shared.position + 2);
            text += joined(
                {"    ", shared.names(position + " | "), position, ") ", bashOffer(shared.place), " ;;\n"});
        }
    }
    return text;
}

// -- zsh

std::string zshCommands() {
    std::string text;
    for (const auto& command : allCommands()) {
        auto brief = briefOf(command);
        brief[0] = static_cast<char>(brief[0] - 'A' + 'a');
        const std::string quote = brief.find('\'') == std::string::npos ? "'" : "\"";
        text += joined({"        ", quote, command.name, ":", brief, quote, "\n"});
    }
    return text;
}

std::string zshOffer(const Place& place) {
    switch (place.kind) {
    case Kind::number:
        return "_fluvane_numbers";
    case Kind::numberOrAll:
        return "_fluvane_numbers_or_all";
    case Kind::word:
        return "(" + std::string(place.words) + ")";
    case Kind::file:
        return "_files";
    case Kind::folder:
        return "_directories";
    case Kind::text:
    case Kind::nothing:
        break;
    }
    return " ";
}

std::string zshPlaces() {
    std::map<std::string, std::string> commandsOf; // with all their places the same
    std::vector<std::string> order;
    for (const auto& command : allCommands()) {
        std::string arguments;
        for (std::size_t i = 0; i < command.places.size() && command.places[i].kind != Kind::nothing; ++i) {
            const auto& place = command.places[i];
            arguments +=
                " '" + std::to_string(i + 1) + ":" + std::string(place.label) + ":" + zshOffer(place) + "'";
        }
        if (arguments.empty()) {
            continue;
        }
        auto& commands = commandsOf[arguments];
        if (commands.empty()) {
            order.push_back(arguments);
        }
        commands += (commands.empty() ? "" : " | ") + std::string(command.name);
    }
    std::string text;
    for (const auto& arguments : order) {
        text += "    " + commandsOf[arguments] + ") _arguments" + arguments + " ;;\n";
    }
    return text;
}

// -- fish

std::string fishCommands() {
    std::string text;
    for (const auto& command : allCommands()) {
        text += "complete -c fluvane -n __fish_is_first_token -a " + std::string(command.name) + " -d \"" +
                briefOf(command) + "\"\n";
    }
    return text;
}

std::string fishOffer(const Place& place) {
    switch (place.kind) {
    case Kind::number:
    case Kind::numberOrAll:
        return "-k -a \"(__fluvane_numbers)\"";
    case Kind::word:
        return "-a \"" + std::string(place.words) + "\"";
    case Kind::file:
        return "-F";
    case Kind::folder:
        return "-a \"(__fish_complete_directories)\"";
    case Kind::text:
    case Kind::nothing:
        break;
    }
    return "";
}

std::string fishPlaces() {
    std::string text;
    for (const auto& shared : sharedPlaces()) {
        const auto where = "complete -c fluvane -n \"__fluvane_at " + std::to_string(shared.position) + " " +
                           shared.names(" ") + "\" ";
        if (shared.place.kind == Kind::numberOrAll) {
            text += where + "-a all -d \"Every download\"\n";
        }
        if (shared.place.kind != Kind::text) {
            text += where + fishOffer(shared.place) + "\n";
        }
    }
    return text;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "Usage: fluvane-describe <template> <file to write>\n";
        return 2;
    }
    std::ifstream from(arguments[1], std::ios::binary);
    const std::string before{std::istreambuf_iterator<char>(from), {}};
    auto text = before;
    for (const auto& [mark, said] : std::vector<std::pair<std::string_view, std::string>>{
             {"%[manual]\n", manual()},
             {"%[bash names]", bashNames()},
             {"%[bash places]\n", bashPlaces()},
             {"%[zsh commands]\n", zshCommands()},
             {"%[zsh places]\n", zshPlaces()},
             {"%[fish commands]\n", fishCommands()},
             {"%[fish places]\n", fishPlaces()},
         }) {
        text = replaced(std::move(text), mark, said);
    }
    // A template without a mark, or with one that nothing is known of, is a mistake.
    if (!from || text == before || text.find("%[") != std::string::npos) {
        std::cerr << "There is something wrong with the marks in " << arguments[1] << ".\n";
        return 1;
    }
    std::ofstream to(arguments[2], std::ios::binary);
    to << text;
    return to.flush() ? 0 : 1;
}
