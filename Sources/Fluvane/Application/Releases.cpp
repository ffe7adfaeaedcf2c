// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Releases.h"

#include "TessivarPhrases/Phrases.h"

namespace fluvane {

using tessivar::marked;

std::vector<tessivar::Release> releases() {
    return {
        {.version = "0.1.0",
         .date = "2026-11-21",
         .lines = {
             marked("Downloads come in over several connections, as many as make them faster, and share a "
                    "speed limit."),
             marked("Downloads carry on after a pause, a quit, a crash or a restart, from the bytes that "
                    "were saved."),
             marked("Files are checked against SHA-256, SHA-1 or MD5, marked with their origin, and never "
                    "replace another file."),
             marked("Rules send kinds of files and sites to folders of their own and can give a site fewer "
                    "connections."),
             marked("Windows show the list with its details, the pieces as they arrive and the speed; an "
                    "item in the tray is there while they are closed."),
             marked(
                 "Links, texts and text files can be pasted and dropped; finished files can be dragged out."),
             marked("The fluvane command line adds, lists, pauses, resumes, reorders, re-links and checks "
                    "downloads."),
             marked("fluvane-watch shows downloads live in a terminal."),
         }}};
}

} // namespace fluvane
