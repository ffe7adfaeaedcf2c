// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/SleepWatch.h"

#include "Fluvane/Linux/Services/Calls.h"
#include "FluvaneEngine/Log.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>

#include <utility>

namespace fluvane {

namespace {

ServiceObject loginManager() {
    return {QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager")};
}

QVariantList lockArguments() {
    return {QStringLiteral("sleep"), QString::fromStdString(tessivar::AppIdentity::current.displayName),
            tessivar::qPhrase("Fluvane is saving its list"), QStringLiteral("delay")};
}

} // namespace

class SleepWatch::Watcher : public QObject {
public:
    Watcher(Bus& system, std::function<void(Done)> aboutToSleep, std::function<void()> woke);

private:
    /// Sleep waits as long as it is open.
    struct Lock {
        QDBusUnixFileDescriptor descriptor;
    };

    void ownerChanged(const QString& owner);
    void prepare(const QDBusMessage& message);
    void goToSleep();
    void wake();
    void takeLock();
    void granted(const QDBusMessage& answer);

    Bus& bus_;
    std::function<void(Done)> aboutToSleep_;
    std::function<void()> woke_;
    bool sleeping_ = false;
    bool problemTold_ = false; ///< Of this owner.
    int asked_ = 0;            ///< Tells the current question from earlier ones.
    std::shared_ptr<Lock> lock_;
    BusSignal prepareForSleep_;
    ServiceOwner owner_; // last: it calls
};

SleepWatch::Watcher::Watcher(Bus& system, std::function<void(Done)> aboutToSleep, std::function<void()> woke)
    : bus_(system), aboutToSleep_(std::move(aboutToSleep)), woke_(std::move(woke)),
      prepareForSleep_(system, loginManager().path, loginManager().interface,
                       QStringLiteral("PrepareForSleep"), {},
                       [this](const QDBusMessage& message) { prepare(message); }),
      owner_(system, loginManager().service, [this](const QString& owner) { ownerChanged(owner); }) {}

/// A new one knows nothing of our lock, nor may it tell of the end of a sleep that the one before began.
void SleepWatch::Watcher::ownerChanged(const QString& owner) {
    lock_.reset();
    ++asked_;
    problemTold_ = false;
    if (owner.isEmpty()) {
        return;
    }
    if (sleeping_) {
        wake();
    } else {
        takeLock();
    }
}

void SleepWatch::Watcher::prepare(const QDBusMessage& message) {
    if (message.service() != owner_.owner() || message.signature() != QLatin1String("b")) {
        return;
    }
    const bool sleeping = message.arguments().at(0).toBool();
    if (sleeping == sleeping_) {
        return;
    }
    if (sleeping) {
        goToSleep();
    } else {
        wake();
    }
}

void SleepWatch::Watcher::goToSleep() {
    log::lifecycle("the machine is about to sleep");
    sleeping_ = true;
    aboutToSleep_([lock = std::weak_ptr(lock_)] {
        if (const auto held = lock.lock()) {
            held->descriptor = {};
        }
    });
}

void SleepWatch::Watcher::wake() {
    log::lifecycle("the machine woke");
    sleeping_ = false;
    lock_.reset();
    takeLock();
    woke_();
}

void SleepWatch::Watcher::takeLock() {
    const auto connection = bus_.connection();
    if (!connection) {
        return;
    }
    ask(*connection, loginManager(), QStringLiteral("Inhibit"), lockArguments(), *this,
        [this, number = ++asked_](const QDBusMessage& answer) {
            // A lock that comes while the machine goes to sleep already would only hold it up.
            if (number == asked_ && !sleeping_) {
                granted(answer);
            }
        });
}

void SleepWatch::Watcher::granted(const QDBusMessage& answer) {
    const auto descriptor = answer.arguments().value(0).value<QDBusUnixFileDescriptor>();
    if (descriptor.isValid()) {
        lock_ = std::make_shared<Lock>(Lock{descriptor});
    } else if (!std::exchange(problemTold_, true)) {
        log::lifecycle.error("couldn't make sleep wait for the list: " + log::hidden(problemOf(answer)));
    }
}

SleepWatch::SleepWatch(Bus& system, std::function<void(Done done)> aboutToSleep, std::function<void()> woke)
    : watcher_(std::make_unique<Watcher>(system, std::move(aboutToSleep), std::move(woke))) {}

SleepWatch::~SleepWatch() = default;

} // namespace fluvane
