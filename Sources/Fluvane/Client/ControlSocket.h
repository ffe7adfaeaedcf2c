// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarBase/Descriptor.h"

#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// What the two sides of the control socket share.
namespace fluvane::controlSocket {

/// The longest socket path in bytes, its terminating zero included.
inline constexpr std::size_t longestPath = 104;
inline constexpr std::size_t readChunk = 65536;
/// A server reads this many bytes of a request and no more.
inline constexpr std::size_t requestLimit = 1024 * 1024;
/// A client reads no further once it has this many bytes of a reply.
inline constexpr std::size_t replyLimit = 16 * 1024 * 1024;

using tessivar::Descriptor;

/// Absent when the path is too long for a socket.
[[nodiscard]] std::optional<sockaddr_un> address(const std::string& path);

/// Writes all the bytes to a blocking socket; gives up silently when it can't.
void writeAll(int descriptor, std::string_view bytes);

} // namespace fluvane::controlSocket
