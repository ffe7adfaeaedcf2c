// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Notices/NotificationServer.h"

#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QPointer>
#include <QVariantMap>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

using namespace Qt::StringLiterals;

const ServiceObject& notifications() {
    static const auto& object =
        *new ServiceObject{u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                           u"org.freedesktop.Notifications"_s};
    return object;
}

QString escaped(QString text) {
    return text.replace(u'&', u"&amp;"_s).replace(u'<', u"&lt;"_s).replace(u'>', u"&gt;"_s);
}

/// Whether the server went away, rather than refused.
bool isGone(const QDBusMessage& answer) {
    switch (QDBusError(answer).type()) {
    case QDBusError::NoReply:
    case QDBusError::ServiceUnknown:
    case QDBusError::Disconnected:
        return true;
    default:
        return answer.errorName() == u"org.freedesktop.DBus.Error.NameHasNoOwner"_s;
    }
}

} // namespace

NotificationServer::NotificationServer(Bus& bus, Clicked clicked, double patience)
    : bus_(bus), clicked_(std::move(clicked)), patience_(patience),
      owner_(bus, notifications().service, [this](const QString&) { ownerChanged(); }),
      invoked_(bus, notifications().path, notifications().interface, u"ActionInvoked"_s, {},
               [this](const QDBusMessage& signal) { invoked(signal); }),
      tokenGiven_(bus, notifications().path, notifications().interface, u"ActivationToken"_s, {},
                  [this](const QDBusMessage& signal) { tokenGiven(signal); }),
      closed_(bus, notifications().path, notifications().interface, u"NotificationClosed"_s, {},
              [this](const QDBusMessage& signal) { closed(signal); }) {
    late_.setSingleShot(true);
    connect(&late_, &QTimer::timeout, this, &NotificationServer::dropLate);
    // A bus without a server may start one for what came before the bus did.
    bus.whenConnected([self = QPointer(this)](const QDBusConnection&) {
        if (self) {
            self->deliver();
        }
    });
}

void NotificationServer::show(Notice notice) {
    const auto patience = std::chrono::duration_cast<Clock::duration>(patience_);
    hold({.notice = std::move(notice), .until = Clock::now() + patience});
    deliver();
}

/// Another server may have other capabilities, and counts its notices from 1 again.
void NotificationServer::ownerChanged() {
    ++server_;
    shown_.clear();
    capabilities_.reset();
    asking_ = false;
    deliver();
}

void NotificationServer::deliver() {
    const auto connection = bus_.connection();
    if (!connection || waiting_.empty()) {
        return;
    }
    if (!capabilities_) {
        askCapabilities(*connection);
        return;
    }
    for (Waiting& waiting : std::exchange(waiting_, {})) {
        if (waiting.until > Clock::now()) {
            send(*connection, waiting);
        }
    }
    late_.stop();
}

void NotificationServer::askCapabilities(const QDBusConnection& connection) {
    if (std::exchange(asking_, true)) {
        return;
    }
    askStarting(connection, notifications(), u"GetCapabilities"_s, {}, patience_.count(), *this,
                [this, server = server_](const QDBusMessage& answer) {
                    if (server != server_) {
                        return;
                    }
                    asking_ = false;
                    if (answer.type() != QDBusMessage::ReplyMessage) {
                        log::lifecycle([&] {
                            return fmt::format("no notifications: {}",
                                               log::hidden(answer.errorMessage().toStdString()));
                        });
                        return;
                    }
                    const auto all = answer.arguments().value(0).toStringList();
                    capabilities_ = {.actions = all.contains(u"actions"_s),
                                     .markup = all.contains(u"body-markup"_s)};
                    deliver();
                });
}

void NotificationServer::send(const QDBusConnection& connection, const Waiting& waiting) {
    askStarting(
        connection, notifications(), u"Notify"_s, arguments(waiting.notice), patience_.count(), *this,
        [this, server = server_, waiting](const QDBusMessage& answer) { answered(waiting, server, answer); });
}

QVariantList NotificationServer::arguments(const Notice& notice) const {
    const QString body = QString::fromStdString(notice.body);
    const bool clickable = capabilities_->actions && notice.file;
    const QVariantMap hints{
        {u"desktop-entry"_s, u"org.fluvane.Fluvane"_s}, // by which notices are grouped, too
        {u"category"_s, QString::fromLatin1(notice.category)},
        {u"urgency"_s, QVariant::fromValue(static_cast<uchar>(notice.urgency))},
        {u"suppress-sound"_s, true},
    };
    return {u"Fluvane"_s,
            QVariant::fromValue(quint32{0}), // replaces nothing
            u"org.fluvane.Fluvane"_s,
            QString::fromStdString(notice.title),
            capabilities_->markup ? escaped(body) : body,
            clickable ? QStringList{u"default"_s, tessivar::qPhrase("Show in Folder")} : QStringList(),
            hints,
            -1};
}

void NotificationServer::answered(Waiting waiting, int server, const QDBusMessage& answer) {
    if (answer.type() == QDBusMessage::ReplyMessage) {
        if (server == server_ && waiting.notice.file) {
            shown_.push_back({answer.arguments().value(0).toUInt(), *waiting.notice.file, {}});
            if (shown_.size() > held) {
                shown_.pop_front();
            }
        }
        return;
    }
    log::lifecycle([&] {
        return fmt::format("couldn't show a notice: {}", log::hidden(answer.errorMessage().toStdString()));
    });
    if (isGone(answer) && !std::exchange(waiting.sentBefore, true)) {
        hold(std::move(waiting));
        if (server == server_) {
            capabilities_.reset();
        }
        deliver();
    }
}

void NotificationServer::hold(Waiting waiting) {
    waiting_.push_back(std::move(waiting));
    if (waiting_.size() > held) {
        waiting_.pop_front();
    }
    if (!late_.isActive()) {
        late_.start(std::chrono::duration_cast<std::chrono::milliseconds>(patience_));
    }
}

void NotificationServer::dropLate() {
    const auto now = Clock::now();
    std::erase_if(waiting_, [&](const Waiting& waiting) { return waiting.until <= now; });
    if (!waiting_.empty()) {
        late_.start(std::chrono::duration_cast<std::chrono::milliseconds>(patience_));
    }
}

/// What a signal is about: absent for other programs' notices, and where somebody else than the server
/// speaks.
NotificationServer::Shown* NotificationServer::shown(const QDBusMessage& signal) {
    const auto id = signal.arguments().value(0).toUInt();
    const auto found = std::ranges::find(shown_, id, &Shown::id);
    return signal.service() == owner_.owner() && found != shown_.end() ? &*found : nullptr;
}

void NotificationServer::invoked(const QDBusMessage& signal) {
    const Shown* const clicked = shown(signal);
    if (clicked && signal.arguments().value(1).toString() == u"default"_s) {
        const Shown copy = *clicked; // whoever is told may show notices
        clicked_(copy.file, copy.activationToken);
    }
}

/// Comes right before the click that it is for.
void NotificationServer::tokenGiven(const QDBusMessage& signal) {
    if (Shown* const clicked = shown(signal)) {
        clicked->activationToken = signal.arguments().value(1).toString().toStdString();
    }
}

void NotificationServer::closed(const QDBusMessage& signal) {
    if (const Shown* const gone = shown(signal)) {
        std::erase_if(shown_, [id = gone->id](const Shown& each) { return each.id == id; });
    }
}

} // namespace fluvane
