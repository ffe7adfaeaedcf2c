// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/SocketWatch.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace fluvane {

SocketWatch::SocketWatch(const std::string& file, std::function<void()> changed)
    : file_(QFile::decodeName(file.c_str())), changed_(std::move(changed)) {
    QObject::connect(&watcher_, &QFileSystemWatcher::directoryChanged, &watcher_,
                     [this] { folderChanged(); });
    watchFolder();
    known_ = look();
}

std::optional<SocketWatch::Identity> SocketWatch::look() const {
    struct stat status {};
    if (stat(QFile::encodeName(file_).constData(), &status) != 0) {
        return std::nullopt;
    }
    return Identity{status.st_ino, {status.st_ctim.tv_sec, status.st_ctim.tv_nsec}};
}

/// Folders may have to turn up first, too.
QString SocketWatch::nearestFolder() const {
    auto folder = QFileInfo(file_).absolutePath();
    while (!QFileInfo::exists(folder)) {
        folder = QFileInfo(folder).absolutePath();
    }
    return folder;
}

/// Again if another became the nearest meanwhile: a watch doesn't tell what came before it.
void SocketWatch::watchFolder() {
    for (auto folder = nearestFolder(); watcher_.directories() != QStringList{folder};
         folder = nearestFolder()) {
        if (isWatching()) {
            watcher_.removePaths(watcher_.directories());
        }
        if (!watcher_.addPath(folder) && QFileInfo::exists(folder)) {
            return;
        }
    }
}

void SocketWatch::folderChanged() {
    watchFolder();
    const auto seen = look();
    const bool another = seen != std::exchange(known_, seen) && seen;
    if (another || !isWatching()) {
        changed_();
    }
}

} // namespace fluvane
