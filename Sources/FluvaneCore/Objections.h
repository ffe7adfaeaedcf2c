// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarPhrases/Phrases.h"

#include <cstddef>
#include <string_view>

/// What a person is told about something given that can't be used, on the command line and, through `phrase`,
/// in windows.
namespace fluvane::words {

inline constexpr std::string_view unknownChecksum =
    tessivar::marked("That isn't a checksum Fluvane knows: give a SHA-256, SHA-1 or MD5.");
/// Characters; a longer one would be sent with every request, and no server takes it.
inline constexpr std::size_t longestLink = 65536;
inline constexpr std::string_view linkTooLong =
    tessivar::markedIn("kept", "That link is too long: links have at most 65,536 characters.");
inline constexpr std::string_view checksumForSeveral =
    tessivar::marked("A checksum goes with one link at a time.");

} // namespace fluvane::words
