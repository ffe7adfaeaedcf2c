// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RecentFolders.h"

#include "Fluvane/UI/Models/PresentFolders.h"
#include "TessivarCore/Log.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

namespace fluvane {

namespace {

constexpr std::size_t longestFile = 65'536; ///< Bytes; six paths are far shorter.

/// A path of bytes that are no UTF-8 can't be written as JSON; as a location it can.
std::string encoded(const std::vector<URL>& folders) {
    auto list = nlohmann::json::array();
    for (const URL& folder : folders) {
        list.push_back(folder.absoluteString());
    }
    return list.dump(2) + "\n";
}

std::vector<URL> decoded(const std::string& text) {
    std::vector<URL> folders;
    for (const auto& entry : nlohmann::json::parse(text)) {
        const auto folder = URL::parse(entry.get<std::string>());
        if (folder && folder->isFile() && folders.size() < RecentFolders::most) {
            folders.push_back(*folder);
        }
    }
    return folders;
}

} // namespace

RecentFolders::RecentFolders(std::filesystem::path file) : file_(std::move(file)) {
    load();
}

void RecentFolders::add(const URL& folder) {
    std::erase(folders_, folder);
    folders_.insert(folders_.begin(), folder);
    folders_.resize(std::min(folders_.size(), most), folder);
    save();
}

void RecentFolders::findPresent(QObject* context, std::function<void(std::vector<URL>)> completion) const {
    findPresentFolders(context, folders_, std::move(completion));
}

void RecentFolders::load() {
    try {
        if (const auto text = file_.read(longestFile)) {
            folders_ = decoded(*text);
        }
    } catch (const std::exception& error) {
        tessivar::log::lifecycle.error("couldn't read the folders used last", error);
    }
}

void RecentFolders::save() const {
    try {
        tessivar::createFolders(file_.path().parent_path(), 0700);
        file_.write(encoded(folders_));
    } catch (const std::exception& error) {
        tessivar::log::lifecycle.error("couldn't save the folders used last", error);
    }
}

} // namespace fluvane
