// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Client/ControlSocket.h"
#include "Fluvane/Commands/Reply.h"
#include "TessivarBase/Descriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace fluvane {

/// One client of the control socket, from accept to close. The control thread's only; never blocks.
class ControlConnection {
public:
    using Clock = std::chrono::steady_clock;
    /// A request is read, its command runs, its reply is written, and what the client still sends is drained:
    /// closing over unread bytes would throw the reply away.
    enum class Stage { reading, received, running, writing, draining, closed };

    ControlConnection(std::uint64_t number, tessivar::Descriptor socket, std::chrono::milliseconds patience);

    [[nodiscard]] std::uint64_t number() const { return number_; }
    [[nodiscard]] int descriptor() const { return socket_.get(); }
    [[nodiscard]] Stage stage() const { return stage_; }
    [[nodiscard]] const std::string& request() const { return bytes_; }
    /// What to poll for; 0 while there is nothing to wait for on the socket.
    [[nodiscard]] short interest() const;
    /// Meaningless while its command runs.
    [[nodiscard]] Clock::time_point deadline() const { return deadline_; }
    [[nodiscard]] bool waits() const { return stage_ == Stage::running; }
    /// Since when it has been there without sending a byte; absent once it has.
    [[nodiscard]] std::optional<Clock::time_point> silentSince() const;

    /// The socket has something to read or room to write.
    void ready();
    /// The deadline has passed.
    void expired();
    /// Its request was handed on.
    void run();
    void reply(const Reply& reply);

private:
    void read();
    void write();
    void drain();
    void enter(Stage stage);

    std::uint64_t number_;
    tessivar::Descriptor socket_;
    std::chrono::milliseconds patience_;
    Clock::time_point arrival_ = Clock::now();
    Clock::time_point deadline_;
    Stage stage_ = Stage::reading;
    std::string bytes_; ///< The request, then the reply.
    std::size_t written_ = 0;
    bool inputEnded_ = false;
};

} // namespace fluvane
