// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFileSystemWatcher>
#include <QString>

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace fluvane {

/// Tells when a socket turns up, or another in its place, and when it can't tell anymore. For the main
/// thread.
class SocketWatch {
public:
    SocketWatch(const std::string& file, std::function<void()> changed);

    [[nodiscard]] bool exists() const { return known_.has_value(); }
    /// False when the system doesn't let us (the limit of watches).
    [[nodiscard]] bool isWatching() const { return !watcher_.directories().isEmpty(); }

private:
    using Identity = std::pair<unsigned long, std::pair<std::time_t, long>>;
    [[nodiscard]] std::optional<Identity> look() const;
    [[nodiscard]] QString nearestFolder() const;
    void watchFolder();
    void folderChanged();

    QString file_;
    std::function<void()> changed_;
    std::optional<Identity> known_;
    QFileSystemWatcher watcher_;
};

} // namespace fluvane
