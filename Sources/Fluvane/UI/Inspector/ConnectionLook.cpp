// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ConnectionLook.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"

#include <QPen>
#include <QSize>

#include <algorithm>
#include <array>
#include <cmath>

namespace fluvane::connectionLook {

using tessivar::blend;

namespace {

/// A set known to stay apart for every kind of colour blindness.
constexpr std::array<QRgb, 8> colors = {0xff0072b2, 0xffe69f00, 0xff009e73, 0xffcc79a7,
                                        0xff56b4e9, 0xffd55e00, 0xfff0e442, 0xff8a7ad8};
enum class Pattern { rising, plain, falling, upright, dots };
constexpr int patterns = 5;

std::size_t index(int number) {
    return static_cast<std::size_t>(std::max(number, 1) - 1);
}

Pattern pattern(int number) {
    return static_cast<Pattern>(index(number) % patterns);
}

/// Stripes that lean by `lean` widths of the area's height, anchored to the painter's origin.
void stripes(QPainter& painter, const QRectF& area, double lean) {
    constexpr double distance = 5;
    const double slant = lean * area.height();
    const double first = std::floor((area.left() - std::abs(slant)) / distance) * distance;
    const int count = static_cast<int>(std::ceil((area.right() + std::abs(slant) - first) / distance));
    for (int stripe = 0; stripe < count; ++stripe) {
        const double x = first + stripe * distance;
        painter.drawLine(QPointF(x, area.bottom()), QPointF(x + slant, area.top()));
    }
}

void dots(QPainter& painter, const QRectF& area) {
    constexpr double distance = 5;
    const double left = std::floor(area.left() / distance) * distance;
    const double top = area.top() + 3;
    const int columns = static_cast<int>(std::ceil((area.right() + 1 - left) / distance));
    const int rows = static_cast<int>(std::ceil((area.bottom() - top) / distance));
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            painter.drawPoint(QPointF(left + column * distance, top + row * distance));
        }
    }
}

void draw(QPainter& painter, const QRectF& area, Pattern pattern) {
    switch (pattern) {
    case Pattern::rising:
        return stripes(painter, area, 1);
    case Pattern::falling:
        return stripes(painter, area, -1);
    case Pattern::upright:
        return stripes(painter, area, 0);
    case Pattern::dots:
        return dots(painter, area);
    case Pattern::plain:
        return;
    }
}

} // namespace

QColor color(int number, const QPalette& palette) {
    // A mark must stand out from the window by 3:1.
    const QColor color(colors[index(number) % colors.size()]);
    return tessivar::readable(color, {palette.color(QPalette::Window), 3});
}

QColor faint(int number, const QPalette& palette) {
    return blend(palette.color(QPalette::Window), color(number, palette), 0.28);
}

void fill(QPainter& painter, const QRectF& area, int number, const QPalette& palette, double strength) {
    const QColor full = color(number, palette);
    painter.fillRect(area, blend(faint(number, palette), full, strength));
    if (pattern(number) == Pattern::plain || strength < 0.5) {
        return;
    }
    painter.save();
    painter.setClipRect(area, Qt::IntersectClip);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor line = blend(full, palette.color(QPalette::Base), 0.6);
    const double width = pattern(number) == Pattern::dots ? 2.2 : 1.4;
    painter.setPen(QPen(line, width, Qt::SolidLine, Qt::RoundCap));
    draw(painter, area, pattern(number));
    painter.restore();
}

void badge(QPainter& painter, const QRectF& square, int number, const QPalette& palette) {
    const QColor ground = color(number, palette);
    const QColor black(Qt::black);
    const QColor white(Qt::white);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(square, tessivar::radius::mark, tessivar::radius::mark);
    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(square.height() * 0.72));
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(tessivar::contrast(black, ground) >= tessivar::contrast(white, ground) ? black : white);
    painter.drawText(square, Qt::AlignCenter, QString::number(number));
    painter.restore();
}

QSize swatchSize(int height) {
    return {height * 2 + 2, height};
}

QPixmap swatch(int number, int height, qreal scale, const QPalette& palette) {
    QPixmap pixmap(swatchSize(height) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    fill(painter, QRectF(0, 0, height, height), number, palette);
    badge(painter, QRectF(height + 2, 0, height, height), number, palette);
    return pixmap;
}

} // namespace fluvane::connectionLook
