// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CommandTable.h"

namespace fluvane {

namespace {

using Kind = CommandEntry::Place::Kind;

constexpr CommandEntry::Place number{.kind = Kind::number, .label = "download"};
constexpr CommandEntry::Place numberOrAll{.kind = Kind::numberOrAll, .label = "download"};
constexpr CommandEntry::Place file{.kind = Kind::file, .label = "file"};
constexpr CommandEntry::Place folder{.kind = Kind::folder, .label = "folder"};

constexpr CommandEntry downloads[] = {
    {.name = "add",
     .arguments = "<link|file>… [--to <folder>] [--checksum <hash>] [--cookies <file>] [--header <header>] "
                  "[--user-agent <text>] [--referrer <link>]",
     .usage = R"(Download links, or the links in a text file, to the folder in Settings
(or a rule's) or <folder>, checking one against a SHA-256, SHA-1 or MD5.
A numbered range, like "https://example.com/part[01-20].zip", gives a
link for each number. To servers that want to know who asks it sends the
cookies of a file in the Netscape format, --header "Name: value", as often
as given, or --header @<file>, for each line there, --user-agent and
--referrer; headers go to the link's own server alone. Files keep what is
secret out of the list of processes)",
     .brief = "Download links, or the links in a text file",
     .manual = R"(Download links, or the links in a text file, to the folder in Settings (or a rule's) or to
.IR folder .
A
.I hash
is a SHA-256, SHA-1 or MD5, told apart by its length; it goes with one link at a time.
A numbered range in a link,
.BR [01\-20] ,
gives a link for each number.
.IP
For a server that wants to know who asks,
.B \-\-cookies
names a file of cookies in the Netscape format, each of which goes where its domain and path allow;
.B \-\-header
gives a header as
.RB \(dq Name:
.IR value \(dq,
or with
.BI @ file
one for each line of a file, and may be repeated; headers go to the link's own server alone, not where it redirects to.
.B \-\-user\-agent
and
.B \-\-referrer
give those two.
What is secret is best given in a file: others can see the arguments of running programs.
It is kept in memory until the download is finished, and in
.I $XDG_RUNTIME_DIR
for a restart of Fluvane; after one of the machine an unfinished download waits for a fresh link.
.IP
Prints the number of each new download.)",
     .launches = true},
    {.name = "list", .usage = "Print every download as JSON, with its number"},
    {.name = "pause",
     .arguments = "<n|all>",
     .usage = "Pause a download, or all of them",
     .places = {numberOrAll}},
    {.name = "resume",
     .arguments = "<n|all>",
     .usage = "Resume (or try again) a download, or all of them",
     .places = {numberOrAll}},
    {.name = "remove",
     .arguments = "<n>",
     .usage = "Take a download off the list (a finished file stays where it is)",
     .brief = "Take a download off the list",
     .manual = "Take a download off the list.\nA finished file stays where it is.",
     .places = {number}},
    {.name = "next",
     .arguments = "<n>",
     .usage = "Put a waiting or paused download next in line",
     .places = {number}},
    {.name = "prioritize",
     .arguments = "<n> [off]",
     .usage = "Start a download now, past the queue, and give it most of the speed",
     .brief = "Start a download now and give it most of the speed",
     .manual = "Start a download now, past the queue, and give it most of the speed; or let it be one of "
               "many again.",
     .places = {number, {.kind = Kind::word, .label = "off", .words = "off"}}},
    {.name = "link",
     .arguments = "<n> <link>",
     .usage = "Give a download a fresh link after the old one expired",
     .brief = "Give a download a fresh link",
     .places = {number, {.kind = Kind::text, .label = "fresh link"}}},
    {.name = "checksum",
     .arguments = "<n> <hash|none>",
     .usage = "Check a download against a checksum (now, if it's finished)",
     .brief = "Check a download against a checksum",
     .manual = "Check a download against a checksum (now, if it is finished), or no longer.",
     .places = {number, {.kind = Kind::word, .label = "hash", .words = "none"}}},
    {.name = "limit",
     .arguments = "[MB/s|off]",
     .usage = "Limit the speed of all downloads together, or lift the limit",
     .brief = "Limit the speed of all downloads together",
     .manual =
         "Limit the speed of all downloads together, or lift the limit.\nWithout an argument, print it.",
     .places = {CommandEntry::Place{.kind = Kind::word, .label = "MB/s", .words = "off"}}},
};

constexpr CommandEntry windows[] = {
    {.name = "show",
     .arguments = "[n]",
     .usage = "Open the Downloads window, with download n's details",
     .brief = "Open the Downloads window",
     .manual = "Open the Downloads window, with download\n.IR n 's\ndetails.",
     .places = {number},
     .launches = true},
    {.name = "settings",
     .arguments = "[pane]",
     .usage = "Open Settings, at a pane: general, files, rules, connections or about",
     .brief = "Open Settings",
     .manual = R"(Open Settings, at a pane:
.BR general ,
.BR files ,
.BR rules ,
.B connections
or
.BR about .)",
     .places = {CommandEntry::Place{
         .kind = Kind::word, .label = "pane", .words = "general files rules connections about"}},
     .launches = true},
    {.name = "welcome", .usage = "Open the Welcome window", .launches = true},
    {.name = "whats-new", .usage = "Show what's new in this version", .launches = true},
    {.name = "crash-note",
     .usage = "Show the note about the last crash or hang, with its report",
     .brief = "Show the note about the last crash or hang"},
};

constexpr CommandEntry help[] = {
    {.name = "help",
     .brief = "Print a summary of the commands",
     .manual = "Print a summary of the commands."},
    {.name = "log", .usage = "Print the last 10 minutes of Fluvane's log"},
    {.name = "diagnostics",
     .usage = "Print a report for a bug report (no links or file names)",
     .brief = "Print a report for a bug report",
     .manual = "Print a report for a bug report.\nIt holds no links and no file names."},
    {.name = "state",
     .usage = "Print what's on screen, the menu's items and notifications sent, as JSON",
     .brief = "Print what's on screen as JSON",
     .manual = "Print what is on screen, the menu's items and the notifications sent, as JSON."},
    {.name = "snapshot",
     .arguments = "[folder] [prefix]",
     .usage = "Draw Fluvane's windows and menu bar icon to PNGs",
     .brief = "Draw the windows to PNGs",
     .manual = "Draw Fluvane's windows and its menu bar icon to PNG files.",
     .places = {folder, {.kind = Kind::text, .label = "prefix"}},
     .takesPath = true},
    {.name = "update", .usage = "Check for updates"},
    {.name = "export",
     .arguments = "[file]",
     .usage = "Save the settings to a file, or print them",
     .places = {file},
     .takesPath = true},
    {.name = "import",
     .arguments = "<file>",
     .usage = "Replace the settings with the ones in a file",
     .places = {file},
     .takesPath = true},
};

constexpr CommandGroup groups[] = {{"Downloads", downloads}, {"Windows", windows}, {"Help", help}};

} // namespace

std::span<const CommandGroup> commandGroups() {
    return groups;
}

const CommandEntry* commandNamed(std::string_view name) {
    for (const auto& group : groups) {
        for (const auto& command : group.commands) {
            if (command.name == name) {
                return &command;
            }
        }
    }
    return nullptr;
}

} // namespace fluvane
