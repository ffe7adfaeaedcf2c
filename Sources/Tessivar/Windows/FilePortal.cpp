// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/FilePortal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QFile>
#include <QGuiApplication>
#include <QUrl>
#include <QUuid>
#include <QWidget>

#include <utility>

namespace tessivar {

namespace {

constexpr auto bus = "org.freedesktop.DBus";
constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto object = "/org/freedesktop/portal/desktop";
constexpr auto chooser = "org.freedesktop.portal.FileChooser";
constexpr auto requests = "org.freedesktop.portal.Request";
constexpr unsigned firstWithFolders = 3;
constexpr unsigned chosen = 0;

/// How portals know the window that they belong before.
QString nameOf(const QWidget& window) {
    return QGuiApplication::platformName() == "xcb" ? "x11:" + QString::number(window.window()->winId(), 16)
                                                    : QString();
}

QVariantMap optionsOf(const FilePortal::Question& question, const QString& token) {
    QVariantMap options{{"handle_token", token}, {"directory", true}, {"modal", true}};
    if (!question.accept.isEmpty()) {
        options["accept_label"] = QString(question.accept).replace('_', "__").replace('&', '_');
    }
    if (!question.folder.isEmpty()) {
        options["current_folder"] = QFile::encodeName(question.folder) + '\0';
    }
    return options;
}

} // namespace

struct FilePortal::Request {
    QString path;
    Answered answered;
};

FilePortal::FilePortal(QObject* parent) : QObject(parent) {}

FilePortal::~FilePortal() = default;

void FilePortal::follow(const QDBusConnection& connection) {
    connection_ = connection.name();
    isThere_ = false;
    // From anybody, as naming a service waits for the bus to tell its owner.
    QDBusConnection(connection)
        .connect({}, {}, bus, "NameOwnerChanged", {service}, {}, this, SLOT(ownerChanged(QDBusMessage)));
    probe(connection);
}

void FilePortal::ownerChanged(const QDBusMessage& signal) {
    isThere_ = false;
    if (!signal.arguments().value(2).toString().isEmpty()) {
        probe(connection());
    } else if (request_) {
        finish({.folder = {}, .failed = true}); // its window went with it
    }
}

void FilePortal::probe(const QDBusConnection& connection) {
    auto question = QDBusMessage::createMethodCall(service, object, "org.freedesktop.DBus.Properties", "Get");
    question.setArguments({QString(chooser), QString("version")});
    auto* const answer = new QDBusPendingCallWatcher(connection.asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        const auto version = answer->reply().arguments().value(0).value<QDBusVariant>().variant();
        isThere_ = !answer->isError() && version.toUInt() >= firstWithFolders;
    });
}

void FilePortal::askForFolder(const QWidget& window, const Question& question, Answered answered) {
    if (const auto former = request_ ? std::exchange(request_->answered, nullptr) : nullptr) {
        withdraw();
        former({});
    }
    QDBusConnection connection(connection_.value_or(QString()));
    const QString token = "fluvane" + QUuid::createUuid().toString(QUuid::Id128);
    const QString sender = connection.baseService().mid(1).replace('.', '_');
    const QString path = QString("%1/request/%2/%3").arg(object, sender, token);
    request_ = std::make_unique<Request>(Request{path, std::move(answered)});
    connection.connect({}, path, requests, "Response", this, SLOT(responded(QDBusMessage)));
    auto call = QDBusMessage::createMethodCall(service, object, chooser, "OpenFile");
    call.setArguments({nameOf(window), question.title, optionsOf(question, token)});
    auto* const begun = new QDBusPendingCallWatcher(connection.asyncCall(call), this);
    connect(begun, &QDBusPendingCallWatcher::finished, this, [this, begun, path] {
        begun->deleteLater();
        if (begun->isError() && request_ && request_->path == path) {
            finish({.folder = {}, .failed = true});
        }
    });
}

void FilePortal::withdraw() {
    if (const auto request = std::exchange(request_, nullptr)) {
        QDBusConnection connection(connection_.value_or(QString()));
        connection.disconnect({}, request->path, requests, "Response", this, SLOT(responded(QDBusMessage)));
        connection.send(QDBusMessage::createMethodCall(service, request->path, requests, "Close"));
    }
}

void FilePortal::responded(const QDBusMessage& signal) {
    if (!request_ || signal.path() != request_->path) {
        return;
    }
    const auto arguments = signal.arguments();
    const auto results = qdbus_cast<QVariantMap>(arguments.value(1));
    const QUrl folder(results.value("uris").toStringList().value(0));
    const bool isChosen = arguments.value(0).toUInt() == chosen && folder.isLocalFile();
    finish({.folder = isChosen ? std::optional(folder.toLocalFile()) : std::nullopt});
}

void FilePortal::finish(const Answer& answer) {
    const auto request = std::exchange(request_, nullptr);
    QDBusConnection(connection_.value_or(QString()))
        .disconnect({}, request->path, requests, "Response", this, SLOT(responded(QDBusMessage)));
    request->answered(answer);
}

} // namespace tessivar
