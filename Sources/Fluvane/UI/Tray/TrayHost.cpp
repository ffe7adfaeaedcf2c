// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/TrayHost.h"

#include <QDBusConnection>
#include <QDBusVariant>
#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace fluvane {

namespace {

const ServiceObject& watcherProperties() {
    static const auto& object = *new ServiceObject{QStringLiteral("org.kde.StatusNotifierWatcher"),
                                                   QStringLiteral("/StatusNotifierWatcher"),
                                                   QStringLiteral("org.freedesktop.DBus.Properties")};
    return object;
}

const QString& watcherInterface() {
    return watcherProperties().service; // which bears the same name
}

template <class Value>
std::unique_ptr<Value, decltype(&std::free)> freed(Value* value) {
    return {value, &std::free};
}

/// Null where there is no X display.
xcb_connection_t* display() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

/// One short question to the display's server, of which every window asks many.
xcb_atom_t atomOf(std::string_view name) {
    auto* const x11 = display();
    if (!x11) {
        return XCB_ATOM_NONE;
    }
    const auto length = static_cast<std::uint16_t>(name.size());
    const auto atom =
        freed(xcb_intern_atom_reply(x11, xcb_intern_atom(x11, 0, length, name.data()), nullptr));
    return atom ? atom->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace

TrayHost::TrayHost(Bus& session, std::function<bool()> hasEmbeddingTray, std::chrono::milliseconds wait)
    : bus_(session), hasEmbeddingTray_(std::move(hasEmbeddingTray)),
      watcher_(session, watcherInterface(), [this](const QString& owner) { watcherChanged(owner); }),
      registered_(session, watcherProperties().path, watcherInterface(),
                  QStringLiteral("StatusNotifierHostRegistered"), {}, ifFromWatcher()),
      unregistered_(session, watcherProperties().path, watcherInterface(),
                    QStringLiteral("StatusNotifierHostUnregistered"), {}, ifFromWatcher()) {
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, [this] {
        announcement_ = atomOf("MANAGER");
        if (announcement_ != XCB_ATOM_NONE) {
            QCoreApplication::instance()->installNativeEventFilter(this);
        }
        lookForEmbeddingTray();
    });
    patience_.start(wait);
}

TrayHost::~TrayHost() = default;

/// There may be more than one host, so that the watcher is asked again whatever it signals.
std::function<void(const QDBusMessage&)> TrayHost::ifFromWatcher() {
    return [this](const QDBusMessage& message) {
        if (message.service() == watcher_.owner()) {
            askForHost();
        }
    };
}

void TrayHost::watcherChanged(const QString& owner) {
    if (owner.isEmpty()) {
        question_.reset();
        hostIs(false);
    } else {
        askForHost();
    }
}

void TrayHost::askForHost() {
    const auto connection = bus_.connection();
    if (!connection) {
        return;
    }
    question_ = std::make_unique<QObject>(); // earlier answers are of no interest any more
    ask(*connection, watcherProperties(), QStringLiteral("Get"),
        {watcherInterface(), QStringLiteral("IsStatusNotifierHostRegistered")}, *question_,
        [this](const QDBusMessage& answer) {
            const auto value = answer.arguments().value(0).value<QDBusVariant>().variant();
            hostIs(answer.type() == QDBusMessage::ReplyMessage && value.toBool());
        });
}

void TrayHost::hostIs(bool there) {
    if (kind_ != Kind::embedding) {
        set(there ? Kind::statusNotifier : Kind::none);
    }
}

void TrayHost::lookForEmbeddingTray() {
    if (kind_ == Kind::none && !hasBeenNotifier_ && hasEmbeddingTray_()) {
        set(Kind::embedding);
    }
}

void TrayHost::set(Kind kind) {
    hasBeenNotifier_ = hasBeenNotifier_ || kind == Kind::statusNotifier;
    if (std::exchange(kind_, kind) != kind) {
        Q_EMIT changed();
    }
}

bool TrayHost::nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) {
    static constexpr std::uint8_t sentByProgram = 0x80;
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    if (type == "xcb_generic_event_t" && (event->response_type & ~sentByProgram) == XCB_CLIENT_MESSAGE &&
        reinterpret_cast<const xcb_client_message_event_t*>(event)->type == announcement_) {
        lookForEmbeddingTray();
    }
    return false;
}

bool TrayHost::embeddingTrayIsThere() {
    const auto selection = atomOf("_NET_SYSTEM_TRAY_S0");
    if (selection == XCB_ATOM_NONE) {
        return false;
    }
    auto* const x11 = display();
    const auto owner =
        freed(xcb_get_selection_owner_reply(x11, xcb_get_selection_owner(x11, selection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

} // namespace fluvane
