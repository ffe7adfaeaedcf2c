// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Releases.h"

namespace fluvane {

std::vector<tessivar::Release> releases() {
    return {
        {.version = "0.1.0",
         .date = "2026-11-21",
         .lines = {
             "Downloads come in over several connections, as many as make them faster, and share a speed "
             "limit.",
             "Downloads carry on after a pause, a quit, a crash or a restart, from the bytes that were "
             "saved.",
             "Files are checked against SHA-256, SHA-1 or MD5, marked with their origin, and never replace "
             "another file.",
             "Rules send kinds of files and sites to folders of their own and can give a site fewer "
             "connections.",
             "Windows show the list with its details, the pieces as they arrive and the speed; an item in "
             "the "
             "tray is there while they are closed.",
             "Links, texts and text files can be pasted and dropped; finished files can be dragged out.",
             "The fluvane command line adds, lists, pauses, resumes, reorders, re-links and checks "
             "downloads.",
             "fluvane-watch shows downloads live in a terminal.",
         }}};
}

} // namespace fluvane
