// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/ProgressBar.h"

#include "Tessivar/Windows/Colors.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace fluvane {

namespace {

constexpr double visible = 3; ///< Contrast that shapes need.

QColor fillColor(const QPalette& palette, StateKind state) {
    const QColor ground = palette.color(QPalette::Base);
    const QColor wanted = runs(state)             ? palette.color(QPalette::Highlight)
                          : needsAttention(state) ? QColor(0xC0, 0x1C, 0x28)
                                                  : QColor(0x80, 0x80, 0x80);
    return tessivar::readable(wanted, {ground, visible});
}

/// Slanted stripes over the whole place.
void paintStripes(QPainter& painter, const QRectF& place, const QColor& color, int offset) {
    constexpr int period = 16;
    const double slant = place.height();
    QPainterPath stripes;
    for (double x = place.left() - period + offset % period; x < place.right() + slant; x += period) {
        stripes.addPolygon(QPolygonF({QPointF(x, place.bottom()), QPointF(x + slant, place.top()),
                                      QPointF(x + slant + period / 2.0, place.top()),
                                      QPointF(x + period / 2.0, place.bottom())}));
    }
    painter.fillPath(stripes, color);
}

} // namespace

void paintProgress(QPainter& painter, const QRect& place, const QPalette& palette,
                   Qt::LayoutDirection direction, const ProgressLook& look) {
    const double radius = place.height() / 2.0;
    QColor track = palette.color(QPalette::Text);
    track.setAlphaF(0.12F);
    const QColor fill = fillColor(palette, look.state);
    painter.save();
    QPainterPath outline;
    outline.addRoundedRect(place, radius, radius);
    painter.fillPath(outline, track);
    painter.setClipPath(outline);
    if (!look.fraction) {
        if (look.state == StateKind::downloading) {
            paintStripes(painter, place, fill, look.step);
        }
    } else if (*look.fraction > 0) {
        QRectF done(place);
        done.setWidth(std::max(place.width() * *look.fraction, 2 * radius));
        if (direction == Qt::RightToLeft) {
            done.moveRight(QRectF(place).right());
        }
        QPainterPath part;
        part.addRoundedRect(done, radius, radius);
        painter.fillPath(part, fill);
        if (needsAttention(look.state)) {
            painter.setClipPath(part);
            QColor gaps = palette.color(QPalette::Base);
            gaps.setAlphaF(0.55F);
            paintStripes(painter, done, gaps, 0);
        }
    }
    painter.restore();
}

} // namespace fluvane
