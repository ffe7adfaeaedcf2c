// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/ControlConnection.h"

#include "FluvaneCore/Words.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace fluvane {

namespace {

/// A client that takes nothing of its reply for so long is given up.
constexpr std::chrono::seconds replyPatience{60};

bool again(ssize_t result) {
    return result < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK);
}

} // namespace

ControlConnection::ControlConnection(std::uint64_t number, tessivar::Descriptor socket,
                                     std::chrono::milliseconds patience)
    : number_(number), socket_(std::move(socket)), patience_(patience), deadline_(arrival_ + patience) {}

short ControlConnection::interest() const {
    switch (stage_) {
    case Stage::reading:
    case Stage::draining:
        return POLLIN;
    case Stage::writing:
        return POLLOUT;
    default:
        return 0;
    }
}

std::optional<ControlConnection::Clock::time_point> ControlConnection::silentSince() const {
    return stage_ == Stage::reading && bytes_.empty() ? std::optional(arrival_) : std::nullopt;
}

void ControlConnection::ready() {
    if (stage_ == Stage::reading) {
        read();
    } else if (stage_ == Stage::writing) {
        write();
    } else if (stage_ == Stage::draining) {
        drain();
    }
}

void ControlConnection::expired() {
    enter(stage_ == Stage::reading ? Stage::received : Stage::closed);
}

void ControlConnection::run() {
    bytes_.clear();
    bytes_.shrink_to_fit();
    enter(Stage::running);
}

void ControlConnection::reply(const Reply& reply) {
    bytes_ = (reply.ok ? "ok\n" : "error\n") + words::escaped(reply.text);
    enter(Stage::writing);
    write();
}

void ControlConnection::read() {
    std::array<char, controlSocket::readChunk> chunk; // NOLINT: filled by recv
    const std::size_t room = controlSocket::requestLimit - bytes_.size();
    const ssize_t count = recv(socket_.get(), chunk.data(), std::min(room, chunk.size()), MSG_DONTWAIT);
    if (count > 0) {
        bytes_.append(chunk.data(), static_cast<std::size_t>(count));
        if (bytes_.size() >= controlSocket::requestLimit) {
            enter(Stage::received);
        }
    } else if (!again(count)) {
        inputEnded_ = true;
        enter(Stage::received);
    }
}

void ControlConnection::write() {
    while (written_ < bytes_.size()) {
        const ssize_t count = send(socket_.get(), bytes_.data() + written_, bytes_.size() - written_,
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (again(count)) {
            return;
        }
        if (count <= 0) {
            return enter(Stage::closed);
        }
        written_ += static_cast<std::size_t>(count);
        deadline_ = Clock::now() + replyPatience;
    }
    shutdown(socket_.get(), SHUT_WR);
    enter(inputEnded_ ? Stage::closed : Stage::draining);
}

void ControlConnection::drain() {
    std::array<char, controlSocket::readChunk> chunk; // NOLINT: thrown away
    const ssize_t count = recv(socket_.get(), chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (count <= 0 && !again(count)) {
        enter(Stage::closed);
    }
}

void ControlConnection::enter(Stage stage) {
    stage_ = stage;
    if (stage == Stage::writing) {
        deadline_ = Clock::now() + replyPatience;
    } else if (stage == Stage::draining) {
        deadline_ = Clock::now() + patience_;
    } else if (stage == Stage::closed) {
        socket_.reset();
    }
}

} // namespace fluvane
