// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/Usage.h"

namespace fluvane {

std::string_view usageText() {
    return R"(Usage: fluvane <command>

Downloads:
  add <link|file>… [--to <folder>] [--checksum <hash>]
                 Download links, or the links in a text file, to the folder in Settings
                 (or a rule's) or <folder>, checking one against a SHA-256, SHA-1 or MD5.
                 A numbered range, like "https://example.com/part[01-20].zip", gives a
                 link for each number
  list           Print every download as JSON, with its number
  pause <n|all>  Pause a download, or all of them
  resume <n|all> Resume (or try again) a download, or all of them
  remove <n>     Take a download off the list (a finished file stays where it is)
  next <n>       Put a waiting or paused download next in line
  prioritize <n> [off]  Start a download now, past the queue, and give it most of the speed
  link <n> <link>  Give a download a fresh link after the old one expired
  checksum <n> <hash|none>  Check a download against a checksum (now, if it's finished)
  limit [MB/s|off]  Limit the speed of all downloads together, or lift the limit

Windows:
  show [n]       Open the Downloads window, with download n's details
  settings [pane]  Open Settings, at a pane: general, files, rules, connections or about
  welcome        Open the Welcome window
  whats-new      Show what's new in this version
  crash-note     Show the note about the last crash or hang, with its report

Help:
  log            Print the last 10 minutes of Fluvane's log
  diagnostics    Print a report for a bug report (no links or file names)
  state          Print what's on screen, the menu's items and notifications sent, as JSON
  snapshot [folder] [prefix]  Draw Fluvane's windows and menu bar icon to PNGs
  update         Check for updates
  export [file]  Save the settings to a file, or print them
  import <file>  Replace the settings with the ones in a file

Links work too, for example: open "fluvane://add?url=<link>" (it asks before downloading).)";
}

} // namespace fluvane
