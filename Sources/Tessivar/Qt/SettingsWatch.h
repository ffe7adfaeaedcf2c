// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFileSystemWatcher>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace tessivar {

/// Notices that a file was written or replaced by whomever, ourselves included, also where neither it nor its
/// folder is there yet, and where it is a link to a file elsewhere. Where folders can't be watched nothing is
/// noticed; the log tells. For the main thread with its event loop.
class SettingsWatch {
public:
    struct Pauses {
        std::chrono::milliseconds calm{200};  ///< Without a further change until it is told.
        std::chrono::milliseconds most{2000}; ///< From the first change, while there are more and more.
    };

    SettingsWatch(std::filesystem::path file, std::function<void()> changed, Pauses pauses);
    SettingsWatch(std::filesystem::path file, std::function<void()> changed);
    SettingsWatch(const SettingsWatch&) = delete;
    SettingsWatch& operator=(const SettingsWatch&) = delete;

private:
    /// What there is at a path, and since when.
    struct Entry {
        std::filesystem::path path;
        std::uint64_t device = 0;
        std::uint64_t number = 0; ///< 0: nothing.
        std::int64_t size = 0;
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;
        bool operator==(const Entry&) const = default;
    };

    [[nodiscard]] std::vector<Entry> look() const;
    void fileChanged();
    void folderChanged();
    void watchAgain();
    void tellLater();

    std::filesystem::path file_;
    std::function<void()> changed_;
    Pauses pauses_;
    std::vector<Entry> seen_;
    std::optional<std::chrono::steady_clock::time_point> firstChange_;
    QTimer timer_;
    QFileSystemWatcher watcher_;
};

} // namespace tessivar
