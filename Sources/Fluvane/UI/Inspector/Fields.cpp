// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/Fields.h"

#include "Fluvane/UI/Models/ToolTip.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QFontMetrics>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include <algorithm>

namespace fluvane {

namespace {

constexpr int longestWord = 24;
constexpr QChar mayBreak(0x200B);

QString breakable(const QString& text) {
    QString result;
    int inWord = 0;
    for (const QChar character : text) {
        inWord = character.isSpace() ? 0 : inWord + 1;
        if (inWord > longestWord && !character.isLowSurrogate() && !character.isMark()) {
            result += mayBreak;
            inWord = 1;
        }
        result += character;
    }
    return result;
}

} // namespace

ValueField::ValueField(QWidget* parent) : ReadOnlyLine(parent) {
    setFrame(false);
    setTextMargins(-2, 0, 0, 0); // in line with labels
    QPalette clear;
    clear.setColor(QPalette::Base, Qt::transparent);
    setPalette(clear);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize ValueField::sizeHint() const {
    return {80, fontMetrics().height()};
}

QSize ValueField::minimumSizeHint() const {
    return {40, sizeHint().height()};
}

void ValueField::setValue(const QString& value, const QString& toolTip) {
    setToolTip(plainToolTip(toolTip.isEmpty() ? value : toolTip));
    setAccessibleDescription(toolTip == value ? QString() : toolTip);
    if (value != text()) {
        setText(value);
        setCursorPosition(0);
    }
}

void ValueField::paintEvent(QPaintEvent* event) {
    if (hasFocus()) {
        return QLineEdit::paintEvent(event);
    }
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
    painter.drawText(rect(), Qt::AlignLeading | Qt::AlignVCenter, tessivar::qIsolated(shown));
}

void ValueField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    if (event->reason() != Qt::PopupFocusReason) { // its own menu copies what is selected
        deselect();
        setCursorPosition(0);
    }
}

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void ElidedLabel::setWhole(const QString& text) {
    if (text != QLabel::text()) {
        setText(text);
    }
}

QSize ElidedLabel::minimumSizeHint() const {
    return {40, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
    painter.drawText(rect(), int(alignment()) | Qt::AlignVCenter, tessivar::qIsolated(shown));
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QLabel::event(event);
    }
    const bool whole = fontMetrics().horizontalAdvance(text()) <= width();
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), whole ? QString() : plainToolTip(text()),
                       this);
    return true;
}

void setWords(QLabel& label, const QString& text) {
    const QString shown = breakable(text);
    if (shown != label.text()) {
        label.setAccessibleName(text); // without the places where it may break
        label.setText(shown);
    }
}

} // namespace fluvane
