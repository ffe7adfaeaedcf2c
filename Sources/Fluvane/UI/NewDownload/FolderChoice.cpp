// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/FolderChoice.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "Tessivar/Windows/FolderDialog.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QFile>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>

namespace fluvane {

using tessivar::qPhrase;

FolderChoice::FolderChoice(QWidget* parent) : QComboBox(parent) {
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(16);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QComboBox::activated, this, &FolderChoice::choose);
    fill();
}

void FolderChoice::setFolder(const std::optional<URL>& folder) {
    folder_ = folder;
    if (folder && std::ranges::find(recent_, *folder) == recent_.end()) {
        recent_.insert(recent_.begin(), *folder);
    }
    fill();
    Q_EMIT folderChosen();
}

void FolderChoice::setRecent(const std::vector<URL>& folders) {
    recent_ = folders;
    if (folder_ && std::ranges::find(recent_, *folder_) == recent_.end()) {
        recent_.insert(recent_.begin(), *folder_);
    }
    fill();
}

void FolderChoice::setRules(bool any) {
    anyRules_ = any;
    fill();
}

void FolderChoice::fill() {
    const QSignalBlocker quiet(this);
    clear();
    addItem(anyRules_ ? qPhrase("Where rules and Settings say") : qPhrase("The folder in Settings"));
    for (const URL& folder : recent_) {
        const QString text = QString::fromStdString(folderText(folder));
        addItem(tessivar::icon("folder"), tessivar::leftToRight(text));
        setItemData(count() - 1, plainToolTip(text), Qt::ToolTipRole);
    }
    insertSeparator(count());
    addItem(qPhrase("Choose Folder…"));
    const auto at = folder_ ? std::ranges::find(recent_, *folder_) : recent_.end();
    setCurrentIndex(at == recent_.end() ? 0 : static_cast<int>(at - recent_.begin()) + 1);
    setToolTip(folder_ ? plainToolTip(currentText()) : QString());
    setAccessibleDescription(folder_ ? currentText() : QString()); // not with the marks
}

/// Passing over it by chance changes nothing, and opens no dialog.
void FolderChoice::wheelEvent(QWheelEvent* event) {
    event->ignore();
}

void FolderChoice::choose(int index) {
    if (index == count() - 1) {
        fill(); // the choice that stands stays, until there is another
        Q_EMIT browseWanted();
        return;
    }
    setFolder(index == 0 ? std::nullopt : std::optional(recent_[static_cast<std::size_t>(index) - 1]));
}

void FolderChoice::browse(const URL& start) {
    const std::string from = folder_.value_or(start).path();
    auto* const dialog =
        new tessivar::FolderDialog(this, qPhrase("Choose Folder"), QFile::decodeName(from.c_str()));
    dialog->setObjectName("choose-folder");
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& path) { setFolder(URL::folder(QFile::encodeName(path).toStdString())); });
    dialog->open();
}

} // namespace fluvane
