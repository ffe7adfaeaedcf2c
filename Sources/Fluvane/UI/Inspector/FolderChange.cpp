// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/FolderChange.h"

#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QFile>
#include <QUrl>

#include <algorithm>
#include <memory>
#include <utility>

namespace fluvane {

namespace {

/// What became of several moves, told once.
struct Tally {
    std::size_t left;
    std::size_t failed = 0;
    std::string problem{}; ///< Of the first that failed, with its name.
};

std::string told(const Tally& tally) {
    return tally.failed == 1
               ? tally.problem
               : tessivar::phrases("%2 The same holds for %1 more.", "%2 The same holds for %1 more.",
                                   tally.failed - 1, tally.problem);
}

} // namespace

std::vector<URL> FolderChange::wanted(const WindowContext& context, const RecentFolders& recent,
                                      const std::vector<DownloadID>& ids) {
    auto folders = recent.folders();
    if (const Download* const first = ids.empty() ? nullptr : context.manager.download(ids.front())) {
        folders.push_back(first->record.folder);
    }
    return folders;
}

FolderChange::FolderChange(WindowContext& context, RecentFolders& recent, std::vector<DownloadID> ids,
                           const std::vector<URL>& present, Tell tell)
    : FolderDialog(nullptr, tessivar::qPhrase("Change Folder"), {}), context_(context), recent_(recent),
      ids_(std::move(ids)), tell_(std::move(tell)) {
    setObjectName("change-folder");
    setLabelText(QFileDialog::Accept, tessivar::qPhrase("&Move Here"));
    const auto isPresent = [&](const URL& folder) {
        return std::ranges::find(present, folder) != present.end();
    };
    const Download* const first = ids_.empty() ? nullptr : context.manager.download(ids_.front());
    if (first && isPresent(first->record.folder)) {
        setDirectory(QFile::decodeName(first->record.folder.path().c_str()));
    }
    auto places = sidebarUrls();
    for (const URL& folder : recent.folders()) {
        if (isPresent(folder)) {
            places.append(QUrl::fromLocalFile(QFile::decodeName(folder.path().c_str())));
        }
    }
    setSidebarUrls(places);
    connect(this, &QFileDialog::fileSelected, this,
            [this](const QString& path) { move(URL::folder(QFile::encodeName(path).toStdString())); });
}

void FolderChange::move(const URL& folder) const {
    recent_.add(folder);
    const auto tally = std::make_shared<Tally>(Tally{.left = ids_.size()});
    for (const auto id : ids_) {
        const Download* const download = context_.manager.download(id);
        const auto name = download ? words::oneLine(download->record.displayName()) : std::string();
        const bool isCure =
            download && download->record.state.failure() && words::isCuredElsewhere(download->record);
        const auto moved = [tell = tell_, tally, name, manager = &context_.manager, id,
                            isCure](const Outcome<std::string>& outcome) {
            if (outcome.ok() && isCure) {
                manager->resume(id);
            }
            if (!outcome.ok() && ++tally->failed == 1) {
                tally->problem = tessivar::phrase("“%1” stays where it is. %2", name,
                                                  words::sentence(words::oneLine(outcome.error())));
            }
            if (--tally->left == 0 && tally->failed > 0) {
                tell(told(*tally));
            }
        };
        if (download) {
            context_.manager.move(id, folder, std::nullopt, moved);
        } else {
            --tally->left;
        }
    }
}

} // namespace fluvane
