// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/FolderDialog.h"

#include "Tessivar/Windows/FilePortal.h"
#include "Tessivar/Windows/Icons.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QApplication>
#include <QPointer>

#include <utility>

namespace tessivar {

namespace {

FilePortal* portal() {
    auto* const found = qApp->findChild<FilePortal*>(QString(), Qt::FindDirectChildrenOnly);
    return found && found->isThere() ? found : nullptr;
}

} // namespace

QIcon FolderDialog::Icons::icon(IconType /*type*/) const {
    return tessivar::icon("folder");
}

QIcon FolderDialog::Icons::icon(const QFileInfo& /*info*/) const {
    return tessivar::icon("folder");
}

FolderDialog::FolderDialog(QWidget* parent, const QString& title, const QString& folder)
    : QFileDialog(parent, title, folder) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFileMode(QFileDialog::Directory);
    setOption(QFileDialog::ShowDirsOnly);
    setLabelText(QFileDialog::LookIn, qPhrase("Look in"));
    setLabelText(QFileDialog::FileName, qPhrase("Folder"));
    setLabelText(QFileDialog::Accept, qPhrase("&Choose"));
    setLabelText(QFileDialog::Reject, qPhrase("Cancel"));
}

FolderDialog::~FolderDialog() {
    if (auto* const asked = asks_ ? portal() : nullptr) {
        asked->withdraw();
    }
}

void FolderDialog::setVisible(bool visible) {
    if (visible && asks_) {
        return; // it is up already
    }
    if (visible && !isOwn_ && portal()) {
        return askPortal();
    }
    visible ? showOwn() : QFileDialog::setVisible(false);
}

void FolderDialog::showOwn() {
    if (!std::exchange(isOwn_, true)) {
        simplify();
    }
    QFileDialog::setVisible(true);
}

void FolderDialog::askPortal() {
    asks_ = true;
    const QWidget* const before = parentWidget() ? parentWidget() : QApplication::activeWindow();
    portal()->askForFolder(
        before ? *before : *this,
        {.title = windowTitle(), .accept = labelText(Accept), .folder = directory().absolutePath()},
        [self = QPointer(this)](const FilePortal::Answer& answer) {
            if (!self) {
                return;
            }
            self->asks_ = false;
            if (answer.failed) {
                return self->showOwn();
            }
            if (answer.folder) {
                Q_EMIT self->fileSelected(*answer.folder);
            }
            self->deleteLater();
        });
}

/// Of Qt's window: kinds and sizes of files mean nothing where only folders are shown.
void FolderDialog::simplify() {
    setIconProvider(&icons_);
    setViewMode(QFileDialog::List);
    if (auto* const path = findChild<QWidget*>("lookInCombo")) {
        path->setLayoutDirection(Qt::LeftToRight); // in any language
    }
    for (const char* const unused :
         {"fileTypeLabel", "fileTypeCombo", "listModeButton", "detailModeButton"}) {
        if (auto* const widget = findChild<QWidget*>(unused)) {
            widget->hide();
        }
    }
}

} // namespace tessivar
