// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/SocketWatch.h"

#include <QDBusConnection>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace fluvane {

/// The bus's connection: makes it, notices that it breaks, makes it again.
class Bus::Connector : public QObject, public std::enable_shared_from_this<Bus::Connector> {
    Q_OBJECT

public:
    Connector(const char* kind, std::string address, MainQueue& queue);
    ~Connector() override;

    void start();
    void whenConnected(Connected handler);
    void whenLost(std::function<void()> handler);
    void whenMissing(std::function<void()> handler);
    [[nodiscard]] std::optional<QDBusConnection> connection() const { return connection_; }

private:
    struct Attempt {
        QString name; ///< The connection's, with Qt.
        std::string problem;
    };

    void attempt();
    [[nodiscard]] static std::optional<std::string> connectTo(const std::string& address, const QString& name,
                                                              const std::stop_token& stop);
    void attempted(const Attempt& attempt);
    void connected(const QDBusConnection& connection);
    void failed(const std::string& problem);
    void tellMissing();
    void tryAgain();
    Q_SLOT void disconnected();

    const char* kind_;
    std::string address_;
    MainQueue& queue_;
    std::vector<Connected> connectedHandlers_;
    std::vector<std::function<void()>> lostHandlers_;
    std::vector<std::function<void()>> missingHandlers_;
    std::optional<QDBusConnection> connection_;
    int attempts_ = 0;
    bool attempting_ = false;
    bool problemTold_ = false;
    QTimer pause_;
    std::unique_ptr<SocketWatch> socket_; ///< While there is no connection.
    std::jthread thread_;
};

} // namespace fluvane
