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

/// The nearest that exists: folders may have to turn up first, too.
void SocketWatch::watchFolder() {
    auto folder = QFileInfo(file_).absolutePath();
    while (!QFileInfo::exists(folder)) {
        folder = QFileInfo(folder).absolutePath();
    }
    if (watcher_.directories() == QStringList{folder}) {
        return;
    }
    if (isWatching()) {
        watcher_.removePaths(watcher_.directories());
    }
    watcher_.addPath(folder);
}

void SocketWatch::folderChanged() {
    watchFolder();
    const auto seen = look();
    if (seen != std::exchange(known_, seen) && seen) {
        changed_();
    }
}

} // namespace fluvane
