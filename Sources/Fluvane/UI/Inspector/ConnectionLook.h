// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QRectF>

/// How connections look wherever they are shown. Each is told apart by its number, its pattern and its
/// colour, so that any one of the three is enough; the colours are apart for colour-blind people, too.
/// Numbers count from 1; the looks begin anew after 40.
namespace fluvane::connectionLook {

[[nodiscard]] QColor color(int number, const QPalette& palette);
/// The same colour, faint: what is yet to come.
[[nodiscard]] QColor faint(int number, const QPalette& palette);
/// Fills the area with the colour, `strength` 0 to 1, and the pattern, which continues across areas side by
/// side.
void fill(QPainter& painter, const QRectF& area, int number, const QPalette& palette, double strength = 1);
/// The number on a square of its colour.
void badge(QPainter& painter, const QRectF& square, int number, const QPalette& palette);
/// Pattern and number side by side, `height` high, for the head of a row.
[[nodiscard]] QPixmap swatch(int number, int height, qreal scale, const QPalette& palette);
[[nodiscard]] QSize swatchSize(int height);

} // namespace fluvane::connectionLook
