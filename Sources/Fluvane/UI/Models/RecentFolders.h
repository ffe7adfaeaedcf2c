// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"
#include "TessivarCore/AtomicFile.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <vector>

class QObject;

namespace fluvane {

/// The folders last chosen for downloads, the latest first, remembered in a small file. The main queue's.
class RecentFolders {
public:
    static constexpr std::size_t most = 6;

    /// A file that isn't there or can't be read is an empty list.
    explicit RecentFolders(std::filesystem::path file);

    [[nodiscard]] const std::vector<URL>& folders() const { return folders_; }
    /// Puts the folder first. Where the file can't be written it is remembered until the end of the process.
    void add(const URL& folder);
    /// Calls back with those that are there now (see `findPresentFolders`). A folder that is missing, maybe
    /// on a drive that isn't plugged in, is not forgotten.
    void findPresent(QObject* context, std::function<void(std::vector<URL>)> completion) const;

private:
    void load();
    void save() const;

    tessivar::AtomicFile file_;
    std::vector<URL> folders_;
};

} // namespace fluvane
