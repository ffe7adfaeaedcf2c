// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/MessageLine.h"

#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAccessible>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>

#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr int iconSize = 16;

} // namespace

MessageLine::MessageLine(QWidget* parent)
    : QFrame(parent), icon_(new QLabel(this)), text_(new QLabel(this)), button_(new QPushButton(this)) {
    setObjectName("message");
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::AlternateBase);
    text_->setObjectName("messageText");
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    button_->setObjectName("messageButton");
    auto* const close = new QToolButton(this);
    close->setObjectName("messageClose");
    close->setAutoRaise(true);
    close->setIcon(tessivar::icon("close"));
    close->setAccessibleName(qPhrase("Dismiss"));
    close->setToolTip(qPhrase("Dismiss"));

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(spacing::margin, spacing::medium, spacing::medium, spacing::medium);
    layout->setSpacing(spacing::medium);
    layout->addWidget(icon_);
    layout->addWidget(text_, 1);
    layout->addWidget(button_);
    layout->addWidget(close);
    hide();

    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    connect(button_, &QPushButton::clicked, this, [this] {
        hide();
        std::exchange(action_, {})();
    });
}

void MessageLine::say(const QString& sentence) {
    tell("check", sentence);
}

void MessageLine::warn(const QString& sentence) {
    tell("warning", sentence);
    warns_ = true;
}

bool MessageLine::withdrawWarning() {
    const bool warned = warns_ && !isHidden();
    if (warned) {
        hide();
    }
    return warned;
}

void MessageLine::offer(const QString& sentence, Action action) {
    tell("check", sentence);
    action_ = std::move(action.run);
    button_->setText(action.button);
    button_->show();
}

void MessageLine::drawIcon() {
    const QSize size(iconSize, iconSize);
    icon_->setPixmap(tessivar::icon(iconName_).pixmap(size, devicePixelRatioF()));
}

void MessageLine::changeEvent(QEvent* event) {
    QFrame::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        drawIcon();
    }
}

void MessageLine::tell(const char* icon, const QString& sentence) {
    button_->hide();
    warns_ = false;
    iconName_ = icon;
    drawIcon();
    text_->setText(sentence);
    text_->setAccessibleName(sentence);
    show();
    QAccessibleEvent event(text_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace fluvane
