// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DropTarget.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QPainter>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

namespace spacing = tessivar::spacing;

DropTarget::DropTarget(QWidget& over) : QWidget(&over), words_(qPhrase("Drop to add links")) {
    setObjectName("drop-target");
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setGeometry(over.rect());
    setAccessibleName(words_);
    show();
}

void DropTarget::setLinks(std::size_t count) {
    words_ = count == 0 ? qPhrase("There is no link in this")
                        : qPhrases("Drop to add %1 link", "Drop to add %1 links", count);
    setAccessibleName(words_);
    update();
}

void DropTarget::paintEvent(QPaintEvent* /*event*/) {
    constexpr double shapeContrast = 3;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor ground = palette().color(QPalette::Window);
    ground.setAlphaF(0.88F);
    painter.fillRect(rect(), ground);
    const QRectF frame =
        QRectF(rect()).adjusted(spacing::margin, spacing::margin, -spacing::margin, -spacing::margin);
    painter.setPen(
        QPen(tessivar::readable(palette().color(QPalette::Highlight),
                                {.ground = palette().color(QPalette::Window), .ratio = shapeContrast}),
             2, Qt::DashLine));
    painter.drawRoundedRect(frame, tessivar::radius::area, tessivar::radius::area);
    painter.setFont(tessivar::type::title(font()));
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(frame, Qt::AlignCenter | Qt::TextWordWrap, words_);
}

} // namespace fluvane
