// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/Bus.h"

#include "Fluvane/Linux/Services/BusAddress.h"
#include "Fluvane/Linux/Services/BusConnector.h"

#include <QDBusConnection>

#include <utility>

namespace fluvane {

Bus::Bus(Kind kind, MainQueue& queue) : Bus(kind, queue, busAddress(kind)) {}

Bus::Bus(Kind kind, MainQueue& queue, std::string address)
    : connector_(std::make_shared<Connector>(kind == Kind::session ? "session" : "system", std::move(address),
                                             queue)) {}

Bus::~Bus() = default;

void Bus::start() {
    connector_->start();
}

void Bus::whenConnected(Connected handler) {
    connector_->whenConnected(std::move(handler));
}

void Bus::whenLost(std::function<void()> handler) {
    connector_->whenLost(std::move(handler));
}

void Bus::whenMissing(std::function<void()> handler) {
    connector_->whenMissing(std::move(handler));
}

std::optional<QDBusConnection> Bus::connection() const {
    return connector_->connection();
}

} // namespace fluvane
