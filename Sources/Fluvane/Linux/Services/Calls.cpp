// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/Calls.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QPointer>

#include <limits>
#include <utility>

namespace fluvane {

namespace {

constexpr int forever = std::numeric_limits<int>::max();

QDBusMessage callOf(const ServiceObject& object, const QString& method, const QVariantList& arguments) {
    auto call = QDBusMessage::createMethodCall(object.service, object.path, object.interface, method);
    call.setArguments(arguments);
    return call;
}

void send(const QDBusConnection& connection, const QDBusMessage& call, int milliseconds, QObject& context,
          std::function<void(const QDBusMessage&)> answered) {
    auto* const watcher = new QDBusPendingCallWatcher(connection.asyncCall(call, milliseconds), &context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context,
                     [watcher, answered = std::move(answered)] {
                         watcher->deleteLater();
                         answered(watcher->reply());
                     });
}

} // namespace

const ServiceObject& busItself() {
    static const auto& object =
        *new ServiceObject{QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                           QStringLiteral("org.freedesktop.DBus")};
    return object;
}

void ask(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
         const QVariantList& arguments, QObject& context,
         std::function<void(const QDBusMessage& answer)> answered) {
    auto call = callOf(object, method, arguments);
    call.setAutoStartService(false);
    send(connection, call, forever, context, std::move(answered));
}

void askStarting(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
                 const QVariantList& arguments, double seconds, QObject& context,
                 std::function<void(const QDBusMessage& answer)> answered) {
    send(connection, callOf(object, method, arguments), static_cast<int>(seconds * 1000), context,
         std::move(answered));
}

std::string problemOf(const QDBusMessage& answer) {
    const auto words = answer.errorMessage();
    return words.isEmpty() ? "the answer makes no sense" : words.toStdString();
}

ServiceOwner::ServiceOwner(Bus& bus, QString service, std::function<void(const QString&)> changed)
    : service_(std::move(service)), changed_(std::move(changed)) {
    const QPointer<ServiceOwner> self(this);
    bus.whenLost([self] {
        if (self) {
            self->lost();
        }
    });
    bus.whenConnected([self](const QDBusConnection& connection) {
        if (self) {
            self->connected(connection);
        }
    });
}

ServiceOwner::~ServiceOwner() = default;

void ServiceOwner::connected(const QDBusConnection& connection) {
    watcher_ =
        std::make_unique<QDBusServiceWatcher>(service_, connection, QDBusServiceWatcher::WatchForOwnerChange);
    connect(watcher_.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) { setOwner(owner); });
    // The bus keeps the order: whatever changes after this answer is told after it.
    ask(connection, busItself(), QStringLiteral("GetNameOwner"), {service_}, *watcher_,
        [this](const QDBusMessage& answer) {
            const bool owned = answer.type() == QDBusMessage::ReplyMessage;
            setOwner(owned ? answer.arguments().value(0).toString() : QString());
        });
}

void ServiceOwner::lost() {
    watcher_.reset();
    setOwner({});
}

void ServiceOwner::setOwner(const QString& owner) {
    if (!std::exchange(told_, true) || owner != owner_) {
        owner_ = owner;
        changed_(owner);
    }
}

BusSignal::BusSignal(Bus& bus, const QString& path, const QString& interface, const QString& member,
                     const QStringList& firstArguments, std::function<void(const QDBusMessage&)> received)
    : received_(std::move(received)) {
    const QPointer<BusSignal> self(this);
    bus.whenConnected([=](QDBusConnection connection) {
        if (self) {
            connection.connect({}, path, interface, member, firstArguments, {}, self,
                               SLOT(receive(QDBusMessage)));
        }
    });
}

void BusSignal::receive(const QDBusMessage& message) {
    received_(message);
}

} // namespace fluvane
