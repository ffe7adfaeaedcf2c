// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Client/ControlSocket.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace fluvane::support {

/// A socket that takes connections at the path, for a server played by the test.
inline controlSocket::Descriptor listening(const std::string& path, int backlog) {
    const auto address = controlSocket::address(path).value();
    controlSocket::Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.get(), backlog), 0);
    return listener;
}

/// A client of the control socket that does what it is told rather than what is right.
class RawClient {
public:
    explicit RawClient(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = controlSocket::address(path).value();
        connected = connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    RawClient& write(std::string_view bytes) {
        controlSocket::writeAll(socket_.get(), bytes);
        return *this;
    }
    RawClient& end() {
        shutdown(socket_.get(), SHUT_WR);
        return *this;
    }
    void close() { socket_.reset(); }

    /// Everything up to the end of the input; a reset or ten silent seconds fail the test.
    std::string readAll() {
        std::string result;
        char chunk[4096];
        while (true) {
            pollfd descriptor{.fd = socket_.get(), .events = POLLIN, .revents = 0};
            if (poll(&descriptor, 1, 10'000) != 1) {
                ADD_FAILURE() << "no reply; so far: " << result;
                return result;
            }
            const auto count = ::read(socket_.get(), chunk, sizeof chunk);
            EXPECT_GE(count, 0) << "the connection was reset";
            if (count <= 0) {
                return result;
            }
            result.append(chunk, static_cast<std::size_t>(count));
        }
    }

    bool connected = false;

private:
    controlSocket::Descriptor socket_;
};

} // namespace fluvane::support
