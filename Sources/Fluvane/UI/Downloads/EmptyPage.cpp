// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/EmptyPage.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace fluvane {

namespace spacing = tessivar::spacing;

EmptyPage::EmptyPage(const Content& content) : icon_(content.icon), picture_(new QLabel) {
    auto* const title = new QLabel(content.heading);
    title->setFont(tessivar::type::title(title->font()));
    title->setAlignment(Qt::AlignCenter);
    title->setWordWrap(true);
    auto* const words = new tessivar::QuietLabel(content.explanation);
    words->setAlignment(Qt::AlignCenter);
    auto* const push = new QPushButton(content.button);
    push->setObjectName(content.buttonName);
    push->setAutoDefault(true);
    connect(push, &QPushButton::clicked, this, &EmptyPage::clicked);

    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(spacing::margin * 2, spacing::margin, spacing::margin * 2, spacing::margin);
    column->setSpacing(spacing::medium);
    column->addStretch(2);
    column->addWidget(picture_, 0, Qt::AlignCenter);
    column->addSpacing(spacing::small);
    column->addWidget(title);
    column->addWidget(words);
    column->addSpacing(spacing::medium);
    column->addWidget(push, 0, Qt::AlignCenter);
    column->addStretch(3);
    setFocusProxy(push);
    draw();
}

void EmptyPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        draw();
    }
}

void EmptyPage::draw() {
    picture_->setPixmap(
        tessivar::icon(icon_, tessivar::quietText(palette()))
            .pixmap(QSize(tessivar::side::picture, tessivar::side::picture), devicePixelRatioF()));
}

} // namespace fluvane
