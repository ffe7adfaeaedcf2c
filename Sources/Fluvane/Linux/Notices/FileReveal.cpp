// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Notices/FileReveal.h"

#include "Fluvane/Linux/Services/Calls.h"
#include "FluvaneEngine/Log.h"

#include <QDBusConnection>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QUrl>

#include <filesystem>
#include <system_error>

#include <fmt/format.h>

namespace fluvane {

namespace {

using namespace Qt::StringLiterals;

const ServiceObject& fileManager() {
    static const auto& object =
        *new ServiceObject{u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                           u"org.freedesktop.FileManager1"_s};
    return object;
}

bool isThere(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

/// In the form in which file managers compare locations.
QString location(const URL& file) {
    return QUrl::fromEncoded(QByteArray::fromStdString(file.absoluteString())).toString(QUrl::FullyEncoded);
}

/// By what the desktop opens folders with.
void openFolder(const std::filesystem::path& folder, const QString& activationToken) {
    if (!isThere(folder)) {
        log::files("a folder to be shown is gone");
        return;
    }
    QProcess opener;
    opener.setProgram(u"xdg-open"_s);
    opener.setArguments({QFile::decodeName(folder.c_str())});
    opener.setStandardOutputFile(QProcess::nullDevice());
    opener.setStandardErrorFile(QProcess::nullDevice());
    auto environment = QProcessEnvironment::systemEnvironment();
    if (!activationToken.isEmpty()) {
        environment.insert(u"XDG_ACTIVATION_TOKEN"_s, activationToken);
        environment.insert(u"DESKTOP_STARTUP_ID"_s, activationToken);
    }
    opener.setProcessEnvironment(environment);
    if (!opener.startDetached()) {
        log::files.error("couldn't open a folder: " + log::hidden(opener.errorString().toStdString()));
    }
}

} // namespace

class FileReveal::Manager : public QObject {
public:
    Manager(Bus& bus, double patience) : bus_(bus), patience_(patience) {}

    void show(const URL& file, const QString& activationToken) {
        const std::filesystem::path path = file.path();
        const std::filesystem::path folder = path.parent_path();
        const bool there = isThere(path);
        const QString shown = location(there ? file : URL::folder(folder.string()));
        const auto connection = bus_.connection();
        if (!connection || !isThere(folder)) {
            openFolder(folder, activationToken);
            return;
        }
        askStarting(*connection, fileManager(), there ? u"ShowItems"_s : u"ShowFolders"_s,
                    {QStringList{shown}, activationToken}, patience_, *this,
                    [folder, activationToken](const QDBusMessage& answer) {
                        if (answer.type() != QDBusMessage::ReplyMessage) {
                            openFolder(folder, activationToken);
                        }
                    });
    }

private:
    Bus& bus_;
    double patience_;
};

FileReveal::FileReveal(Bus& session, double patience)
    : manager_(std::make_unique<Manager>(session, patience)) {}

FileReveal::~FileReveal() = default;

void FileReveal::show(const URL& file, const std::string& activationToken) {
    if (file.isFile()) {
        manager_->show(file, QString::fromStdString(activationToken));
    }
}

} // namespace fluvane
