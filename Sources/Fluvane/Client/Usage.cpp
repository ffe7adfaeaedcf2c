// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/Usage.h"

#include "Fluvane/Client/CommandTable.h"

namespace fluvane {

namespace {

constexpr std::size_t column = 17; ///< Where what a command does is told.

std::string indented(std::string_view lines) {
    const std::string margin = "\n" + std::string(column, ' ');
    std::string text;
    while (true) {
        const auto end = lines.find('\n');
        text += margin;
        text += lines.substr(0, end);
        if (end == std::string_view::npos) {
            return text;
        }
        lines.remove_prefix(end + 1);
    }
}

std::string lineOf(const CommandEntry& command) {
    std::string line = "  " + std::string(command.name);
    if (!command.arguments.empty()) {
        line += " " + std::string(command.arguments);
    }
    if (command.usage.find('\n') != std::string_view::npos) {
        return line + indented(command.usage);
    }
    line.append(line.size() < column ? column - line.size() : 2, ' ');
    return line + std::string(command.usage);
}

} // namespace

std::string usageText() {
    std::string text = "Usage: fluvane <command>\n";
    for (const auto& group : commandGroups()) {
        text += "\n" + std::string(group.title) + ":\n";
        for (const auto& command : group.commands) {
            if (!command.usage.empty()) {
                text += lineOf(command) + "\n";
            }
        }
    }
    return text +
           "\nLinks work too, for example: open \"fluvane://add?url=<link>\" (it asks before downloading).";
}

} // namespace fluvane
