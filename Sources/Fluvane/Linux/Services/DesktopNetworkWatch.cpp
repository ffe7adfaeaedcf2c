// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"

#include "Fluvane/Linux/Services/Calls.h"
#include "FluvaneEngine/Log.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QPointer>

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

namespace {

/// A reconnection walks through several states within some 50 ms.
constexpr double settling = 1.0;

const QString& networkManager() {
    static const auto& name = *new QString(QStringLiteral("org.freedesktop.NetworkManager"));
    return name;
}

ServiceObject properties() {
    return {networkManager(), QStringLiteral("/org/freedesktop/NetworkManager"),
            QStringLiteral("org.freedesktop.DBus.Properties")};
}

/// Properties whose changes may change a report.
constexpr std::array watched{QLatin1String("State"), QLatin1String("Metered"),
                             QLatin1String("PrimaryConnection"), QLatin1String("PrimaryConnectionType"),
                             QLatin1String("Startup")};

bool isWatched(const QString& property) {
    return std::ranges::find(watched, property) != watched.end();
}

/// Asleep, disconnected or disconnecting. One that is only starting hasn't looked yet.
bool isOffline(const QVariantMap& values) {
    const auto state = values[QStringLiteral("State")].toUInt();
    return (state == 10 || state == 20 || state == 30) && !values[QStringLiteral("Startup")].toBool();
}

std::optional<LimitedNetwork> limitOf(const QVariantMap& values) {
    constexpr uint saidByUser = 1;
    constexpr uint guessed = 3; // such as what a phone's hotspot tells its guests
    const auto metered = values[QStringLiteral("Metered")].toUInt();
    const auto type = values[QStringLiteral("PrimaryConnectionType")].toString();
    if (metered == guessed || type == QLatin1String("bluetooth") || type == QLatin1String("gsm") ||
        type == QLatin1String("cdma")) {
        return LimitedNetwork::hotspot;
    }
    return metered == saidByUser ? std::optional(LimitedNetwork::lowDataMode) : std::nullopt;
}

std::string describe(const NetworkWatch::Report& report) {
    const std::string text = report.online ? "the network is there" : "there is no network";
    return report.limited ? text + ", " + std::string(rawValue(*report.limited)) : text;
}

} // namespace

class DesktopNetworkWatch::Watcher : public QObject {
public:
    Watcher(Bus& system, Scheduler& scheduler, std::function<void(Report)> handler);
    ~Watcher() override;

private:
    void ownerChanged(const QString& owner);
    void propertiesChanged(const QDBusMessage& message);
    void settleFromNow();
    void settled();
    void askForAll();
    void answered(const QDBusMessage& answer);
    void report(const Report& report);

    Bus& bus_;
    Scheduler& scheduler_;
    std::function<void(Report)> handler_;
    std::shared_ptr<Cancellable> settling_; ///< While changes are gathered.
    bool cameOnce_ = false;
    bool reported_ = false;
    bool asking_ = false;
    bool askAgain_ = false;
    int asked_ = 0; ///< Tells the current question from those to an earlier owner.
    BusSignal changes_;
    ServiceOwner owner_; // last: it calls
};

DesktopNetworkWatch::Watcher::Watcher(Bus& system, Scheduler& scheduler, std::function<void(Report)> handler)
    : bus_(system), scheduler_(scheduler), handler_(std::move(handler)),
      changes_(system, properties().path, properties().interface, QStringLiteral("PropertiesChanged"),
               {networkManager()}, [this](const QDBusMessage& message) { propertiesChanged(message); }),
      owner_(system, networkManager(), [this](const QString& owner) { ownerChanged(owner); }) {
    system.whenMissing([self = QPointer<Watcher>(this)] {
        if (self && !self->reported_) {
            self->report({});
        }
    });
}

DesktopNetworkWatch::Watcher::~Watcher() {
    if (settling_) {
        settling_->cancel();
    }
}

void DesktopNetworkWatch::Watcher::ownerChanged(const QString& owner) {
    ++asked_;
    asking_ = askAgain_ = false;
    if (!owner.isEmpty() && !std::exchange(cameOnce_, true)) {
        askForAll();
    } else if (cameOnce_) {
        settleFromNow(); // one that restarts gets the time from its return
    } else if (!reported_) {
        report({});
    }
}

void DesktopNetworkWatch::Watcher::propertiesChanged(const QDBusMessage& message) {
    if (settling_ || message.service() != owner_.owner() ||
        message.signature() != QLatin1String("sa{sv}as")) {
        return;
    }
    const auto arguments = message.arguments();
    const auto changed = qdbus_cast<QVariantMap>(arguments.at(1)).keys() + arguments.at(2).toStringList();
    if (std::ranges::any_of(changed, isWatched)) {
        settleFromNow();
    }
}

void DesktopNetworkWatch::Watcher::settleFromNow() {
    if (settling_) {
        settling_->cancel();
    }
    settling_ = scheduler_.after(settling, [this] {
        settling_.reset();
        settled();
    });
}

void DesktopNetworkWatch::Watcher::settled() {
    if (owner_.owner().isEmpty()) {
        report({});
    } else {
        askForAll();
    }
}

void DesktopNetworkWatch::Watcher::askForAll() {
    const auto connection = bus_.connection();
    if (!connection) {
        return;
    }
    if (std::exchange(asking_, true)) {
        askAgain_ = true;
        return;
    }
    ask(*connection, properties(), QStringLiteral("GetAll"), {networkManager()}, *this,
        [this, number = ++asked_](const QDBusMessage& answer) {
            if (number == asked_) {
                answered(answer);
            }
        });
}

void DesktopNetworkWatch::Watcher::answered(const QDBusMessage& answer) {
    asking_ = false;
    if (std::exchange(askAgain_, false)) {
        askForAll();
    } else if (answer.type() == QDBusMessage::ReplyMessage && answer.signature() == QLatin1String("a{sv}")) {
        const auto values = qdbus_cast<QVariantMap>(answer.arguments().at(0));
        report({.online = !isOffline(values), .limited = limitOf(values)});
    } else {
        log::network.error("couldn't ask about the network: " + log::hidden(problemOf(answer)));
        if (reported_) {
            report({}); // what was told before may not hold any more
        }
    }
}

void DesktopNetworkWatch::Watcher::report(const Report& report) {
    log::network([&] { return describe(report); });
    reported_ = true;
    handler_(report);
}

DesktopNetworkWatch::DesktopNetworkWatch(Bus& system, Scheduler& scheduler)
    : system_(system), scheduler_(scheduler) {}

DesktopNetworkWatch::~DesktopNetworkWatch() = default;

void DesktopNetworkWatch::start(std::function<void(Report)> handler) {
    watcher_ = std::make_unique<Watcher>(system_, scheduler_, std::move(handler));
}

} // namespace fluvane
