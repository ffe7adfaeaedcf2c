// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace fluvane::standardStreams {

void keep() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            [[maybe_unused]] const int opened = open("/dev/null", O_RDWR);
        }
    }
}

std::error_code write(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd waited{.fd = descriptor, .events = POLLOUT, .revents = 0};
            poll(&waited, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return {written == 0 ? EIO : errno, std::generic_category()};
        }
    }
    return {};
}

} // namespace fluvane::standardStreams
