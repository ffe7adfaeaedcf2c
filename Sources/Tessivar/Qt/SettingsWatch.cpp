// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Qt/SettingsWatch.h"

#include "TessivarCore/Log.h"

#include <QFile>

#include <algorithm>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace tessivar {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t mostLinks = 40; // as the kernel's own limit
constexpr int mostAttempts = 10;      // while folders come and go under our hands

/// The file and, where it is a link, those that it leads to.
std::vector<fs::path> hops(fs::path file) {
    std::vector<fs::path> all = {file};
    std::error_code none;
    while (all.size() <= mostLinks) {
        const auto next = fs::read_symlink(file, none);
        if (none) {
            break;
        }
        file = (file.parent_path() / next).lexically_normal();
        all.push_back(file);
    }
    return all;
}

fs::path fullPath(const fs::path& path) {
    std::error_code none;
    return fs::absolute(path, none).lexically_normal();
}

QString named(const fs::path& path) {
    return QFile::decodeName(path.c_str());
}

} // namespace

SettingsWatch::SettingsWatch(fs::path file, std::function<void()> changed, Pauses pauses)
    : file_(fullPath(file)), changed_(std::move(changed)), pauses_(pauses) {
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
        firstChange_.reset();
        changed_();
    });
    QObject::connect(&watcher_, &QFileSystemWatcher::fileChanged, &timer_, [this] { fileChanged(); });
    QObject::connect(&watcher_, &QFileSystemWatcher::directoryChanged, &timer_, [this] { folderChanged(); });
    watchAgain();
}

SettingsWatch::SettingsWatch(fs::path file, std::function<void()> changed)
    : SettingsWatch(std::move(file), std::move(changed), Pauses()) {}

/// The file, and of each hop on the way its folder with the one above, which tells that the folder itself was
/// moved; those that are missing give way to the next one above that is there.
std::vector<SettingsWatch::Entry> SettingsWatch::look() const {
    std::vector<Entry> all;
    const auto add = [&](const fs::path& path, bool isFile) {
        struct stat status {};
        const bool isThere = ::stat(path.c_str(), &status) == 0;
        if (isThere || isFile) {
            Entry entry{.path = path, .device = status.st_dev, .number = status.st_ino};
            if (isFile) { // a folder changes with each file in it
                entry.size = status.st_size;
                entry.seconds = status.st_mtim.tv_sec;
                entry.nanoseconds = status.st_mtim.tv_nsec;
            }
            if (std::ranges::find(all, path, &Entry::path) == all.end()) {
                all.push_back(std::move(entry));
            }
        }
        return isThere;
    };
    const auto path = hops(file_);
    add(path.back(), true);
    for (const auto& hop : path) {
        auto folder = hop.parent_path();
        while (!add(folder, false) && folder != folder.parent_path()) {
            folder = folder.parent_path();
        }
        add(folder.parent_path(), false);
    }
    return all;
}

void SettingsWatch::fileChanged() {
    watchAgain(); // it may be another file under the same name
    tellLater();
}

/// Most of what changes there is none of ours.
void SettingsWatch::folderChanged() {
    if (look() != seen_) {
        watchAgain();
        tellLater();
    }
}

/// Looks before and after: whatever comes later is noticed.
void SettingsWatch::watchAgain() {
    QStringList failed;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const auto watched = watcher_.files() + watcher_.directories();
        if (!watched.isEmpty()) {
            watcher_.removePaths(watched);
        }
        seen_ = look();
        failed.clear();
        for (const Entry& entry : seen_) {
            if (entry.number != 0 && !watcher_.addPath(named(entry.path))) {
                failed += named(entry.path);
            }
        }
        if (look() == seen_) {
            break;
        }
    }
    if (!failed.isEmpty()) {
        log::lifecycle.error("changes that others make to the settings file aren't noticed");
    }
}

void SettingsWatch::tellLater() {
    const auto now = Clock::now();
    firstChange_ = firstChange_.value_or(now);
    const auto due = std::min(now + pauses_.calm, *firstChange_ + pauses_.most);
    timer_.start(
        std::max(std::chrono::ceil<std::chrono::milliseconds>(due - now), std::chrono::milliseconds(0)));
}

} // namespace tessivar
