// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/Inhibitor.h"

#include "FluvaneEngine/Log.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QTimer>

#include <chrono>
#include <utility>

namespace fluvane {

namespace {

using namespace std::chrono_literals;

/// How long a service that has just come may take to set its objects up.
constexpr auto settingUp = 300ms;

bool looksUnready(const QDBusMessage& answer) {
    const auto error = QDBusError(answer).type();
    return error == QDBusError::UnknownObject || error == QDBusError::UnknownInterface ||
           error == QDBusError::UnknownMethod;
}

} // namespace

Inhibitor::Inhibitor(Bus& bus, Way way, std::function<void()> changed)
    : bus_(bus), way_(std::move(way)), changed_(std::move(changed)),
      owner_(bus, way_.object.service, [this](const QString&) { ownerChanged(); }) {}

Inhibitor::~Inhibitor() {
    letGo();
}

bool Inhibitor::isPromising() const {
    return !owner_.owner().isEmpty() && !refused_ && !slow_;
}

void Inhibitor::take() {
    wanted_ = true;
    if (!isHeld() && !asking_) {
        askForIt();
    }
}

void Inhibitor::release() {
    wanted_ = false;
    letGo();
}

/// What the one before granted is gone with it, and its refusals are not the new one's.
void Inhibitor::ownerChanged() {
    granted_ = {};
    asking_ = slow_ = refused_ = retried_ = told_ = false;
    changed_();
}

void Inhibitor::askForIt() {
    const auto connection = bus_.connection();
    if (!connection) {
        return;
    }
    asking_ = true;
    ask(*connection, way_.object, QStringLiteral("Inhibit"), way_.arguments, *this,
        [this, number = ++asked_, owner = owner_.owner()](const QDBusMessage& answer) {
            if (number == asked_ && owner == owner_.owner()) {
                answered(answer);
            }
        });
}

void Inhibitor::answered(const QDBusMessage& answer) {
    asking_ = slow_ = false;
    granted_ = granted(answer);
    if (!isHeld()) {
        refused(answer);
    } else if (!wanted_) {
        letGo();
    }
    changed_();
}

Inhibitor::Granted Inhibitor::granted(const QDBusMessage& answer) const {
    const auto value = answer.type() == QDBusMessage::ReplyMessage ? answer.arguments().value(0) : QVariant();
    if (way_.release.isEmpty()) {
        const auto descriptor = value.value<QDBusUnixFileDescriptor>();
        return descriptor.isValid() ? Granted(descriptor) : Granted();
    }
    return value.metaType() == QMetaType::fromType<uint>() ? Granted(value.toUInt()) : Granted();
}

void Inhibitor::refused(const QDBusMessage& answer) {
    refused_ = true;
    if (looksUnready(answer) && !std::exchange(retried_, true)) {
        QTimer::singleShot(settingUp, this, [this] {
            refused_ = false;
            changed_();
        });
        return;
    }
    if (!std::exchange(told_, true)) {
        log::lifecycle.error("couldn't keep the machine awake through " + way_.object.service.toStdString() +
                             ": " + log::hidden(problemOf(answer)));
    }
}

void Inhibitor::letGo() {
    const auto released = std::exchange(granted_, {});
    const auto* const cookie = std::get_if<std::uint32_t>(&released);
    const auto connection = bus_.connection();
    if (cookie && connection) {
        ask(*connection, way_.object, way_.release, {*cookie}, *this, [](const QDBusMessage&) {});
    }
}

} // namespace fluvane
