// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"

#include "Fluvane/UI/Downloads/Content.h"
#include "TessivarPhrases/QtPhrases.h"

#include "Fluvane/UI/Models/DroppedData.h"

#include <QClipboard>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QGuiApplication>

namespace fluvane {

using tessivar::qPhrase;

DownloadsWindow::DownloadsWindow(WindowContext& context, const QString& stateFile)
    : content_(std::make_unique<Content>(*this, context, stateFile)) {
    setObjectName("downloads");
    setWindowTitle(qPhrase("Downloads"));
    setAcceptDrops(true);
    setMinimumSize(480, 320);
    content_->restore();
}

DownloadsWindow::~DownloadsWindow() {
    content_->remember();
}

void DownloadsWindow::select(const std::vector<DownloadID>& ids, bool withDetails) {
    content_->select(ids, withDetails);
}

void DownloadsWindow::tell(const QString& sentence) {
    content_->tell(sentence);
}

DownloadsPlace DownloadsWindow::place() const {
    return content_->place();
}

void DownloadsWindow::goTo(const DownloadsPlace& place) {
    content_->goTo(place);
}

void DownloadsWindow::pasteLinks() {
    const QMimeData* const content = QGuiApplication::clipboard()->mimeData();
    if (!content) {
        return content_->offer({});
    }
    findLinks(*content, this, [this](const std::vector<URL>& links) { content_->offer(links); });
}

/// A button that goes or is disabled while it has the focus, as many are by being pressed, leaves it to the
/// list: what is beside it would get the next key.
bool DownloadsWindow::focusNextPrevChild(bool next) {
    return content_->rescueFocus() || QMainWindow::focusNextPrevChild(next);
}

bool DownloadsWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) {
        content_->rescueFocus(); // it went while another window was active
    }
    return QMainWindow::event(event);
}

void DownloadsWindow::showEvent(QShowEvent* event) {
    content_->refresh();
    QMainWindow::showEvent(event);
}

void DownloadsWindow::closeEvent(QCloseEvent* event) {
    content_->remember();
    content_->hideDropTarget();
    QMainWindow::closeEvent(event);
    if (event->isAccepted()) {
        Q_EMIT closedByUser();
    }
}

void DownloadsWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    content_->arrange();
}

void DownloadsWindow::dragEnterEvent(QDragEnterEvent* event) {
    const bool ownFile = event->source() != nullptr; // one of the list's, on its way elsewhere
    if (!ownFile && event->mimeData() && mayHoldLinks(*event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        content_->showDropTarget(*event->mimeData());
    }
}

void DownloadsWindow::dragLeaveEvent(QDragLeaveEvent* event) {
    content_->hideDropTarget();
    QMainWindow::dragLeaveEvent(event);
}

void DownloadsWindow::dropEvent(QDropEvent* event) {
    content_->hideDropTarget();
    event->setDropAction(Qt::CopyAction);
    event->accept();
    findLinks(*event->mimeData(), this, [this](const std::vector<URL>& links) {
        if (links.empty()) {
            content_->tell(qPhrase("There's no link in what was dropped."));
        } else {
            content_->offer(links);
        }
    });
}

} // namespace fluvane
