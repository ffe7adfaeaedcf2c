// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/BusConnector.h"

#include "Fluvane/Linux/Services/BusAddress.h"
#include "Fluvane/Linux/Services/BusProbe.h"
#include "FluvaneEngine/Log.h"

#include <QDBusError>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace fluvane {

namespace {

using std::chrono::milliseconds;

/// How long a bus may take to say hello.
constexpr milliseconds patience{5000};
constexpr milliseconds shortestPause{100};
constexpr milliseconds longestPause{30000};

/// Qt knows connections by name, for the whole process.
QString freshName(const char* kind) {
    static std::atomic<int> count = 0;
    return QStringLiteral("fluvane-%1-%2").arg(QLatin1String(kind)).arg(++count);
}

} // namespace

Bus::Connector::Connector(const char* kind, std::string address, MainQueue& queue)
    : kind_(kind), address_(std::move(address)), queue_(queue) {
    pause_.setSingleShot(true);
    connect(&pause_, &QTimer::timeout, this, [this] { attempt(); });
}

Bus::Connector::~Connector() {
    if (connection_) {
        QDBusConnection::disconnectFromBus(connection_->name());
    }
}

void Bus::Connector::start() {
    if (address_.empty()) {
        queue_.post([self = weak_from_this()] {
            if (const auto connector = self.lock()) {
                connector->tellMissing();
            }
        });
    } else {
        attempt();
    }
}

void Bus::Connector::whenConnected(Connected handler) {
    connectedHandlers_.push_back(handler);
    if (const auto current = connection_) {
        handler(*current);
    }
}

void Bus::Connector::whenLost(std::function<void()> handler) {
    lostHandlers_.push_back(std::move(handler));
}

void Bus::Connector::whenMissing(std::function<void()> handler) {
    missingHandlers_.push_back(std::move(handler));
}

void Bus::Connector::tellMissing() {
    const auto handlers = missingHandlers_;
    for (const auto& handler : handlers) {
        handler();
    }
}

void Bus::Connector::attempt() {
    if (std::exchange(attempting_, true)) {
        return;
    }
    ++attempts_;
    pause_.stop();
    thread_ = std::jthread([self = weak_from_this(), &queue = queue_, address = address_,
                            name = freshName(kind_)](const std::stop_token& stop) {
        const auto problem = connectTo(address, name, stop);
        if (stop.stop_requested()) {
            QDBusConnection::disconnectFromBus(name);
            return;
        }
        queue.post([self, attempt = Attempt{name, problem.value_or("")}] {
            if (const auto connector = self.lock()) {
                connector->attempted(attempt);
            } else {
                QDBusConnection::disconnectFromBus(attempt.name);
            }
        });
    });
}

std::optional<std::string> Bus::Connector::connectTo(const std::string& address, const QString& name,
                                                     const std::stop_token& stop) {
    if (auto problem = probeBus(address, patience, stop)) {
        return problem;
    }
    const auto connection = QDBusConnection::connectToBus(QString::fromStdString(address), name);
    return connection.isConnected() ? std::nullopt
                                    : std::optional(connection.lastError().message().toStdString());
}

void Bus::Connector::attempted(const Attempt& attempt) {
    attempting_ = false;
    if (QDBusConnection connection(attempt.name); attempt.problem.empty() && connection.isConnected()) {
        connected(connection);
        return;
    }
    QDBusConnection::disconnectFromBus(attempt.name);
    failed(attempt.problem);
}

void Bus::Connector::connected(const QDBusConnection& connection) {
    log::lifecycle([this] { return "connected to the " + std::string(kind_) + " bus"; });
    attempts_ = 0;
    problemTold_ = false;
    socket_.reset();
    connection_ = connection;
    connection_->connect({}, QStringLiteral("/org/freedesktop/DBus/Local"),
                         QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                         SLOT(disconnected()));
    const auto handlers = connectedHandlers_; // they may add some, which are then told by that
    for (const auto& handler : handlers) {
        handler(connection);
    }
}

void Bus::Connector::failed(const std::string& problem) {
    if (!std::exchange(problemTold_, true)) {
        log::lifecycle([&] { return "no " + std::string(kind_) + " bus: " + log::hidden(problem); });
    }
    tryAgain();
    tellMissing();
}

/// Where the socket can be watched there is nothing to do while there is none.
void Bus::Connector::tryAgain() {
    const auto file = socketFile(address_);
    if (!socket_ && file) {
        socket_ = std::make_unique<SocketWatch>(*file, [this] {
            attempts_ = 0;
            attempt();
        });
    }
    if (socket_ && socket_->isWatching() && !socket_->exists()) {
        return;
    }
    const int doublings = std::min(attempts_, 16);
    pause_.start(std::min(longestPause, shortestPause * (1 << doublings)));
}

void Bus::Connector::disconnected() {
    if (!connection_) {
        return;
    }
    log::lifecycle([this] { return "the " + std::string(kind_) + " bus went away"; });
    QDBusConnection::disconnectFromBus(connection_->name());
    connection_.reset();
    const auto handlers = lostHandlers_;
    for (const auto& handler : handlers) {
        handler();
    }
    tryAgain();
}

} // namespace fluvane
