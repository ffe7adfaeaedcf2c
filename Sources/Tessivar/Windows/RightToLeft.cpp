// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/RightToLeft.h"

#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/Phrases.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QRegularExpression>
#include <QTextLayout>

namespace tessivar {

namespace {

constexpr QChar mark(0x200F);    ///< Of right to left.
constexpr QChar isolate(0x2066); ///< From left to right, up to the end.
constexpr QChar endIsolate(0x2069);

} // namespace

bool isWrappedToTheLeft(int flags, const QString& text) {
    constexpr int wanted = Qt::TextWordWrap | Qt::TextForceRightToLeft | Qt::AlignRight;
    const bool hasKey = (flags & Qt::TextShowMnemonic) && text.contains('&');
    return (flags & wanted) == wanted && !hasKey;
}

void drawWrapped(QPainter& painter, const QRect& place, int flags, const QString& text) {
    QTextLayout layout(QString(text).replace('\n', QChar::LineSeparator), painter.font(), painter.device());
    QTextOption option(Qt::AlignRight);
    option.setTextDirection(Qt::RightToLeft);
    layout.setTextOption(option);
    const double leading = QFontMetricsF(painter.font(), painter.device()).leading();
    double height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(place.width());
        height += layout.lineCount() > 1 ? leading : 0;
        line.setPosition({0, height});
        height += line.height();
    }
    layout.endLayout();
    const double spare = place.height() - height;
    const double above = flags & Qt::AlignBottom ? spare : flags & Qt::AlignVCenter ? spare / 2 : 0;
    layout.draw(&painter, QPointF(place.left(), place.top() + above));
}

QString withKeysInOrder(const QString& entry) {
    const auto tab = entry.indexOf('\t');
    return tab < 0 ? entry : entry.left(tab + 1) + leftToRight(entry.mid(tab + 1));
}

QString withoutHiddenKey(const QString& text) {
    static const QRegularExpression key("&(.)");
    return isRightToLeft() ? QString(text).replace(key, "\\1") : text;
}

QString leftToRight(const QString& text) {
    return isRightToLeft() && !text.isEmpty() ? isolate + text + endIsolate : text;
}

QMargins endingUnseen(QMargins margins) {
    const bool isMirrored = QGuiApplication::layoutDirection() == Qt::RightToLeft;
    const QMargins less = isMirrored ? QMargins(side::unseen, 0, 0, 0) : QMargins(0, 0, side::unseen, 0);
    return margins - less;
}

QString atOwnSide(const QString& text) {
    return isRightToLeft() && !text.isEmpty() ? mark + text : text;
}

} // namespace tessivar
