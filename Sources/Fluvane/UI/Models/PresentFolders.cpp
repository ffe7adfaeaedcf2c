// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/PresentFolders.h"

#include "Fluvane/UI/Models/Aside.h"

#include <QTimer>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace fluvane {

namespace {

constexpr int patience = 1000; ///< Milliseconds.

struct Search {
    std::vector<URL> folders;
    std::vector<bool> present;
    std::size_t left;
    std::function<void(std::vector<URL>)> completion;

    void end() {
        if (const auto told = std::exchange(completion, nullptr)) {
            std::vector<URL> found;
            for (std::size_t index = 0; index < folders.size(); ++index) {
                if (present[index]) {
                    found.push_back(folders[index]);
                }
            }
            told(found);
        }
    }
};

bool isFolder(const URL& location) {
    std::error_code unknown;
    return std::filesystem::is_directory(location.path(), unknown);
}

} // namespace

void findPresentFolders(QObject* context, std::vector<URL> folders,
                        std::function<void(std::vector<URL>)> completion) {
    const auto count = folders.size();
    const auto search = std::make_shared<Search>(
        Search{std::move(folders), std::vector<bool>(count), count, std::move(completion)});
    for (std::size_t index = 0; index < count; ++index) {
        aside::run(context, [search, index, folder = search->folders[index]]() -> aside::Finish {
            return [search, index, isThere = isFolder(folder)] {
                search->present[index] = isThere;
                if (--search->left == 0) {
                    search->end();
                }
            };
        });
    }
    QTimer::singleShot(count == 0 ? 0 : patience, context, [search] { search->end(); });
}

} // namespace fluvane
