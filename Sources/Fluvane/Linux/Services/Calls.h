// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <memory>
#include <string>

class QDBusConnection;
class QDBusServiceWatcher;

/// What every service is reached with. Nothing here waits for an answer. For the main thread.
namespace fluvane {

/// Where a method or a signal of a service is.
struct ServiceObject {
    QString service;
    QString path;
    QString interface;
};

/// The bus's own object, for names and their owners.
[[nodiscard]] const ServiceObject& busItself();

/// The answer, or the error. A service that isn't there isn't started for us, and one that takes long is
/// waited for as long as it takes: an answer that grants something must not get lost. Not called once
/// `context` has ended.
void ask(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
         const QVariantList& arguments, QObject& context,
         std::function<void(const QDBusMessage& answer)> answered);

/// Like `ask`, for services that the bus starts when they are called, and only for so many seconds: whoever
/// doesn't answer in time has failed.
void askStarting(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
                 const QVariantList& arguments, double seconds, QObject& context,
                 std::function<void(const QDBusMessage& answer)> answered);

/// Why an answer isn't what was asked for: the service's words, if it has any.
[[nodiscard]] std::string problemOf(const QDBusMessage& answer);

/// Who has a name on the bus, from connection to connection.
class ServiceOwner : public QObject {
    Q_OBJECT

public:
    /// The bus must outlive it. `changed` is called with the owner's own name, empty without one, as soon as
    /// that is known, and with every change.
    ServiceOwner(Bus& bus, QString service, std::function<void(const QString& owner)> changed);
    ~ServiceOwner() override;

    [[nodiscard]] const QString& owner() const { return owner_; }

private:
    void connected(const QDBusConnection& connection);
    void lost();
    void setOwner(const QString& owner);

    QString service_;
    std::function<void(const QString&)> changed_;
    std::unique_ptr<QDBusServiceWatcher> watcher_;
    QString owner_;
    bool told_ = false;
};

/// A signal of whoever sends it on the bus: the receiver compares QDBusMessage::service() with the owner it
/// means. (Asking for the signals of a service by its name would wait for the bus to tell the owner.)
class BusSignal : public QObject {
    Q_OBJECT

public:
    /// The bus must outlive it. `firstArguments`: what the first arguments must be, as text.
    BusSignal(Bus& bus, const QString& path, const QString& interface, const QString& member,
              const QStringList& firstArguments, std::function<void(const QDBusMessage&)> received);

private:
    Q_SLOT void receive(const QDBusMessage& message);

    std::function<void(const QDBusMessage&)> received_;
};

} // namespace fluvane
