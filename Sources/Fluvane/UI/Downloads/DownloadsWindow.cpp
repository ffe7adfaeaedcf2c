// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"

#include "Fluvane/UI/Downloads/Parts.h"

#include "Fluvane/UI/Models/DroppedData.h"

#include <QClipboard>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QGuiApplication>

namespace fluvane {

DownloadsWindow::DownloadsWindow(WindowContext& context, const QString& stateFile)
    : parts_(std::make_unique<Parts>(*this, context, stateFile)) {
    setObjectName("downloads");
    setWindowTitle("Downloads");
    setAcceptDrops(true);
    setMinimumSize(480, 320);
    parts_->restore();
}

DownloadsWindow::~DownloadsWindow() {
    parts_->remember();
}

void DownloadsWindow::select(const std::vector<DownloadID>& ids, bool withDetails) {
    parts_->select(ids, withDetails);
}

void DownloadsWindow::tell(const QString& sentence) {
    parts_->tell(sentence);
}

void DownloadsWindow::pasteLinks() {
    const QMimeData* const content = QGuiApplication::clipboard()->mimeData();
    if (!content) {
        return parts_->offer({});
    }
    findLinks(*content, this, [this](const std::vector<URL>& links) { parts_->offer(links); });
}

void DownloadsWindow::showEvent(QShowEvent* event) {
    parts_->refresh();
    QMainWindow::showEvent(event);
}

void DownloadsWindow::closeEvent(QCloseEvent* event) {
    parts_->remember();
    QMainWindow::closeEvent(event);
    if (event->isAccepted()) {
        Q_EMIT closedByUser();
    }
}

void DownloadsWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    parts_->arrange();
}

void DownloadsWindow::dragEnterEvent(QDragEnterEvent* event) {
    const bool ownFile = event->source() != nullptr; // one of the list's, on its way elsewhere
    if (!ownFile && event->mimeData() && mayHoldLinks(*event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    }
}

void DownloadsWindow::dropEvent(QDropEvent* event) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
    findLinks(*event->mimeData(), this, [this](const std::vector<URL>& links) {
        if (links.empty()) {
            parts_->tell("There's no link in what was dropped.");
        } else {
            parts_->offer(links);
        }
    });
}

} // namespace fluvane
