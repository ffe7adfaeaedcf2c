// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/FolderSpace.h"

#include "Fluvane/UI/Models/Aside.h"

#include <filesystem>
#include <system_error>

namespace fluvane {

namespace {

/// Of the nearest folder that is there.
std::optional<std::int64_t> freeAt(std::filesystem::path folder) {
    for (;;) {
        std::error_code error;
        const auto space = std::filesystem::space(folder, error);
        if (!error) {
            return static_cast<std::int64_t>(space.available);
        }
        if (error != std::errc::no_such_file_or_directory || folder == folder.parent_path()) {
            return std::nullopt;
        }
        folder = folder.parent_path();
    }
}

} // namespace

void FolderSpace::follow(const std::optional<URL>& folder) {
    if (folder != folder_) {
        folder_ = folder;
        free_.reset();
        ask();
    }
}

void FolderSpace::ask() {
    if (!folder_ || asking_) {
        return;
    }
    asking_ = true;
    aside::run(this, [this, asked = *folder_]() -> aside::Finish {
        return [this, asked, free = freeAt(asked.path())] {
            asking_ = false;
            if (folder_ == asked) {
                free_ = free;
                Q_EMIT changed();
            } else {
                ask();
            }
        };
    });
}

} // namespace fluvane
