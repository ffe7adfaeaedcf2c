// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/ControlSocket.h"
#include "FluvaneCore/Text.h"
#include "TessivarBase/Descriptor.h"

#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace fluvane::cli {

namespace {

using tessivar::Descriptor;

/// How long a connect waits for room in the application's queue of connections.
constexpr timeval connectPatience{.tv_sec = 5, .tv_usec = 0};

/// Absent when an argument isn't UTF-8.
std::optional<std::string> requestText(const std::vector<std::string>& arguments) {
    try {
        return nlohmann::json(arguments).dump();
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

Descriptor connected(const std::string& socketPath) {
    const auto address = controlSocket::address(socketPath);
    Descriptor socket(address ? ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0) : -1);
    if (!socket.isOpen()) {
        return socket;
    }
    // With a full backlog connect waits for room; the time-out keeps a stopped application from holding us.
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &connectPatience, sizeof connectPatience);
    int result = -1;
    do {
        result = connect(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        return Descriptor();
    }
    constexpr timeval forever{};
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &forever, sizeof forever);
    return socket;
}

std::string readAll(int descriptor) {
    std::string gathered;
    std::array<char, controlSocket::readChunk> chunk; // NOLINT: filled by read
    while (gathered.size() < controlSocket::replyLimit) {
        const ssize_t count = read(descriptor, chunk.data(), chunk.size());
        if (count > 0) {
            gathered.append(chunk.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return gathered;
}

} // namespace

bool canBeSent(const std::vector<std::string>& arguments) {
    return requestText(arguments).has_value();
}

std::optional<Answer> send(const std::vector<std::string>& arguments, const std::string& socketPath,
                           std::optional<std::chrono::milliseconds> patience) {
    const auto request = requestText(arguments);
    const Descriptor socket = request ? connected(socketPath) : Descriptor();
    if (!socket.isOpen()) {
        return std::nullopt;
    }
    if (patience) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*patience);
        const timeval limit{.tv_sec = seconds.count(),
                            .tv_usec = std::chrono::microseconds(*patience - seconds).count()};
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    controlSocket::writeAll(socket.get(), *request);
    shutdown(socket.get(), SHUT_WR);
    const std::string reply = text::repaired(readAll(socket.get()));
    const auto lineFeed = reply.find('\n');
    if (lineFeed == std::string::npos) {
        return std::nullopt;
    }
    return Answer{.ok = reply.compare(0, lineFeed, "ok") == 0, .text = reply.substr(lineFeed + 1)};
}

} // namespace fluvane::cli
