// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/Calls.h"
#include "FluvaneCore/URL.h"

#include <QDBusMessage>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace fluvane {

/// The desktop's notification server, which may come, go and come back as another. Main queue only.
class NotificationServer : public QObject {
    Q_OBJECT

public:
    /// Of the notices that are waiting for a server, and of the files that a click can still show.
    static constexpr std::size_t held = 100;

    enum class Urgency : unsigned char { low, normal, critical }; // as they are sent
    struct Notice {
        std::string title;
        std::string body; ///< Plain text.
        std::optional<URL> file;
        const char* category;
        Urgency urgency;
    };
    using Clicked = std::function<void(const URL& file, const std::string& activationToken)>;

    NotificationServer(Bus& bus, Clicked clicked, double patience);

    void show(Notice notice);

private:
    using Clock = std::chrono::steady_clock;
    struct Waiting {
        Notice notice;
        Clock::time_point until;
        bool sentBefore = false;
    };
    struct Shown {
        std::uint32_t id;
        URL file;
        std::string activationToken;
    };
    struct Capabilities {
        bool actions;
        bool markup;
    };

    void ownerChanged();
    void deliver();
    void askCapabilities(const QDBusConnection& connection);
    void send(const QDBusConnection& connection, const Waiting& waiting);
    [[nodiscard]] QVariantList arguments(const Notice& notice) const;
    void answered(Waiting waiting, int server, const QDBusMessage& answer);
    void hold(Waiting waiting);
    void dropLate();

    void invoked(const QDBusMessage& signal);
    void tokenGiven(const QDBusMessage& signal);
    void closed(const QDBusMessage& signal);
    [[nodiscard]] Shown* shown(const QDBusMessage& signal);

    Bus& bus_;
    Clicked clicked_;
    std::chrono::duration<double> patience_;
    std::deque<Waiting> waiting_;
    QTimer late_; ///< Runs only while something waits.
    std::deque<Shown> shown_;
    std::optional<Capabilities> capabilities_;
    bool asking_ = false;
    int server_ = 0; ///< Counts servers: what an earlier one answers says nothing of this one.
    ServiceOwner owner_;
    BusSignal invoked_, tokenGiven_, closed_;
};

} // namespace fluvane
