// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/ClipboardOffer.h"

#include "Fluvane/UI/Models/DroppedData.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>

#include <utility>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

ClipboardOffer::ClipboardOffer(QWidget* parent)
    : QWidget(parent), text_(new tessivar::QuietLabel), add_(new QPushButton) {
    setObjectName("clipboard-offer");
    add_->setObjectName("add-clipboard");
    add_->setText(qPhrase("&Add"));
    add_->setIcon(tessivar::icon("paste"));
    add_->setAccessibleName(qPhrase("Add the links on the clipboard"));
    text_->setWordWrap(false);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins({});
    row->setSpacing(tessivar::spacing::medium);
    row->addWidget(text_);
    row->addWidget(add_);
    row->addStretch();
    connect(add_, &QPushButton::clicked, this, &ClipboardOffer::accept);
    setVisible(false);
}

void ClipboardOffer::look() {
    const QMimeData* const content = QGuiApplication::clipboard()->mimeData();
    const auto number = ++looks_;
    if (!content || !mayHoldLinks(*content)) {
        return offer({});
    }
    findLinks(*content, this, [this, number](const std::vector<URL>& links) {
        if (number == looks_) {
            Q_EMIT found(links);
        }
    });
}

void ClipboardOffer::offer(const std::vector<URL>& links) {
    links_ = links;
    text_->setText(qPhrases("%1 link on the clipboard", "%1 links on the clipboard", links.size()));
    setVisible(!links.empty());
}

void ClipboardOffer::accept() {
    const auto links = std::exchange(links_, {});
    setVisible(false);
    Q_EMIT accepted(links);
}

} // namespace fluvane
