// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/OutlinedStyle.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "TessivarPhrases/Phrases.h"

#include <QPainter>
#include <QStyleOption>

namespace tessivar {

namespace {

/// For shapes, unlike for text.
constexpr double shapeContrast = 3;

} // namespace

OutlinedStyle::OutlinedStyle() : QProxyStyle("Fusion") {}

void OutlinedStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (element != PE_IndicatorCheckBox && element != PE_IndicatorRadioButton) {
        return;
    }
    const bool usable = option->state & State_Enabled;
    const QColor ground = option->palette.color(QPalette::Window);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(readable(ground, {ground, usable ? shapeContrast : shapeContrast / 2}));
    painter->setBrush(Qt::NoBrush);
    const QRectF box = QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5);
    if (element == PE_IndicatorCheckBox) {
        painter->drawRect(box);
    } else {
        painter->drawEllipse(box);
    }
    painter->restore();
}

int OutlinedStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                             QStyleHintReturn* data) const {
    // A line under one of its letters tears an Arabic word apart, which then is wider than it was measured.
    if (hint == SH_UnderlineShortcut && isRightToLeft()) {
        return 0;
    }
    return hint == SH_DialogButtonBox_ButtonsHaveIcons ? 0
                                                       : QProxyStyle::styleHint(hint, option, widget, data);
}

QIcon OutlinedStyle::standardIcon(StandardPixmap which, const QStyleOption* option,
                                  const QWidget* widget) const {
    switch (which) {
    case SP_MessageBoxQuestion:
    case SP_MessageBoxInformation:
        return icon("info");
    case SP_MessageBoxWarning:
    case SP_MessageBoxCritical:
        return icon("warning");
    default:
        return QProxyStyle::standardIcon(which, option, widget);
    }
}

} // namespace tessivar
