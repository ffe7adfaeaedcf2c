// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/MainQueue.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

class QDBusConnection;

namespace fluvane {

/// A connection to a message bus that comes when it can. Connecting is done on a thread of its own, since a
/// bus may hang; a bus that isn't there yet, or goes away, is tried again: as soon as its socket turns up
/// where that can be watched, else after pauses that grow to 30 s. Nothing ticks while it is connected.
///
/// For the main thread with a QCoreApplication, which is where handlers are called. They may be added at any
/// time and must stay valid as long as the bus. What a handler is given stays usable until the bus is lost.
class Bus {
public:
    enum class Kind { session, system };
    using Connected = std::function<void(const QDBusConnection&)>;

    /// The queue must outlive it.
    Bus(Kind kind, MainQueue& queue);
    /// The same on a given address; with an empty one there is no bus.
    Bus(Kind kind, MainQueue& queue, std::string address);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Once. Returns at once.
    void start();
    /// For each connection made; at once, inside the call, if there is one already.
    void whenConnected(Connected handler);
    /// For each connection that broke. Whoever was on it forgets what it was told there.
    void whenLost(std::function<void()> handler);
    /// For each attempt that finds no bus; a bus that doesn't answer is none only after some seconds.
    void whenMissing(std::function<void()> handler);
    [[nodiscard]] std::optional<QDBusConnection> connection() const;

private:
    class Connector;
    std::shared_ptr<Connector> connector_;
};

/// Both, told apart by name.
struct Buses {
    Bus& session;
    Bus& system;
};

} // namespace fluvane
