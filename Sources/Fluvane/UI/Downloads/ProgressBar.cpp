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

QColor fillColor(const ProgressLook& look, const QColor& track) {
    if (needsAttention(look.state)) {
        return tessivar::warning({track, visible});
    }
    const QColor wanted =
        runs(look.state) ? look.palette.color(QPalette::Highlight) : tessivar::quietText(look.palette);
    return tessivar::readable(wanted, {track, visible});
}

/// Slanted stripes over the whole place.
void paintStripes(QPainter& painter, const QRectF& place, const QColor& color, int offset) {
    constexpr int period = 16;
    const double slant = place.height();
    QPainterPath stripes;
    const int count = static_cast<int>((place.width() + slant) / period) + 2;
    for (int stripe = 0; stripe < count; ++stripe) {
        const double x = place.left() + (stripe - 1) * period + offset % period;
        stripes.addPolygon(QPolygonF({QPointF(x, place.bottom()), QPointF(x + slant, place.top()),
                                      QPointF(x + slant + period / 2.0, place.top()),
                                      QPointF(x + period / 2.0, place.bottom())}));
    }
    painter.fillPath(stripes, color);
}

} // namespace

void paintProgress(QPainter& painter, const QRect& place, const ProgressLook& look) {
    const double radius = place.height() / 2.0;
    const QColor track = tessivar::blend(look.ground, look.palette.color(QPalette::Text), 0.12);
    const QColor fill = fillColor(look, track);
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
        if (look.direction == Qt::RightToLeft) {
            done.moveRight(QRectF(place).right());
        }
        QPainterPath part;
        part.addRoundedRect(done, radius, radius);
        painter.fillPath(part, fill);
        if (needsAttention(look.state)) {
            painter.setClipPath(part);
            paintStripes(painter, done, tessivar::blend(fill, look.ground, 0.55), 0);
        }
    }
    painter.restore();
}

} // namespace fluvane
