// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/ControlSocket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace fluvane::controlSocket {

std::optional<sockaddr_un> address(const std::string& path) {
    sockaddr_un result{};
    static_assert(sizeof result.sun_path >= longestPath);
    if (path.size() + 1 > longestPath) {
        return std::nullopt;
    }
    result.sun_family = AF_UNIX;
    std::memcpy(result.sun_path, path.c_str(), path.size() + 1);
    return result;
}

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

} // namespace fluvane::controlSocket
