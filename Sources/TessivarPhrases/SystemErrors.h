// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarPhrases/Phrases.h"

#include <array>

namespace tessivar {

/// What the system says most often about files and connections, as a part of kept sentences: it is here so
/// that it gets into the catalogues. The program keeps the system's words in English (LC_MESSAGES), so that
/// lists and logs are alike in all languages.
inline constexpr std::array systemErrors = {
    markedIn("kept", "Permission denied"),
    markedIn("kept", "Operation not permitted"),
    markedIn("kept", "No such file or directory"),
    markedIn("kept", "File exists"),
    markedIn("kept", "File too large"),
    markedIn("kept", "File name too long"),
    markedIn("kept", "No space left on device"),
    markedIn("kept", "Disk quota exceeded"),
    markedIn("kept", "Read-only file system"),
    markedIn("kept", "Input/output error"),
    markedIn("kept", "Not a directory"),
    markedIn("kept", "Is a directory"),
    markedIn("kept", "Too many open files"),
    markedIn("kept", "Too many open files in system"),
    markedIn("kept", "Stale file handle"),
    markedIn("kept", "No such device"),
    markedIn("kept", "Device or resource busy"),
    markedIn("kept", "Transport endpoint is not connected"),
    markedIn("kept", "Cannot allocate memory"),
    markedIn("kept", "Operation not supported"),
    markedIn("kept", "Invalid argument"),
    markedIn("kept", "Connection refused"),
    markedIn("kept", "Connection reset by peer"),
    markedIn("kept", "Connection timed out"),
    markedIn("kept", "Network is unreachable"),
    markedIn("kept", "Network is down"),
    markedIn("kept", "No route to host"),
    markedIn("kept", "Host is down"),
    markedIn("kept", "Broken pipe"),
};

} // namespace tessivar
