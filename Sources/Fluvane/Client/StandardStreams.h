// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string_view>
#include <system_error>

/// Standard input, output and error as their descriptors: nothing is buffered, nothing throws.
namespace fluvane::standardStreams {

/// Opens those that the caller closed on /dev/null: they would otherwise become the first files or sockets
/// that we open. To be called before any of these.
void keep();

/// Writes all of the text, waiting where the descriptor doesn't; what went wrong otherwise. A closed pipe is
/// an error like others only where SIGPIPE is ignored.
std::error_code write(int descriptor, std::string_view text);

} // namespace fluvane::standardStreams
