// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/FolderText.h"

#include "Fluvane/Client/DataFolders.h"
#include "FluvaneCore/Words.h"

namespace fluvane {

std::string belowHome(const std::string& path) {
    const std::string home = dataFolders::home();
    const bool inHome =
        home.size() > 1 && path.starts_with(home) && (path.size() == home.size() || path[home.size()] == '/');
    return inHome ? "~" + path.substr(home.size()) : path;
}

std::string folderText(const URL& folder) {
    return words::oneLine(belowHome(folder.path()));
}

} // namespace fluvane
