// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/StatusIcon.h"

#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <algorithm>
#include <cmath>

namespace fluvane {

namespace {

using Kind = TrayStatus::Kind;

/// Shapes are described on a square of this side.
constexpr qreal grid = 16;
constexpr qreal strokeWidth = 1.8;
constexpr qreal ringRadius = 6.6;
constexpr QPointF center{8, 8};

/// The colours of the shape, and of the part of its ring that is still to come.
struct Ink {
    QColor shape;
    QColor faint;
};

Ink inkFor(Panel panel) {
    switch (panel) {
    case Panel::light:
        return {QColor(0x26, 0x29, 0x2b), QColor(0x26, 0x29, 0x2b, 80)};
    case Panel::dark:
        return {QColor(0xf4, 0xf4, 0xf4), QColor(0xf4, 0xf4, 0xf4, 90)};
    case Panel::unknown:
        break;
    }
    // In the middle: more than 3:1 against panels nearly white and nearly black alike.
    return {QColor(0x2f, 0x86, 0xb5), QColor(0x2f, 0x86, 0xb5, 100)};
}

QPainterPath strokeOf(const QPainterPath& line, qreal width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line);
}

void addLine(QPainterPath& path, std::initializer_list<QPointF> points) {
    path.moveTo(*points.begin());
    std::for_each(points.begin() + 1, points.end(), [&](const QPointF& point) { path.lineTo(point); });
}

/// From the top, clockwise; from and to as parts of the whole ring.
QPainterPath arc(qreal from, qreal to) {
    const QRectF box(center.x() - ringRadius, center.y() - ringRadius, 2 * ringRadius, 2 * ringRadius);
    QPainterPath path;
    path.arcMoveTo(box, 90 - from * 360);
    path.arcTo(box, 90 - from * 360, (from - to) * 360);
    return path;
}

QPainterPath bowl() {
    QPainterPath path(QPointF(2, 11));
    path.lineTo(2, 12.4);
    path.quadTo(2, 14, 3.6, 14);
    path.lineTo(12.4, 14);
    path.quadTo(14, 14, 14, 12.4);
    path.lineTo(14, 11);
    return path;
}

QPainterPath arrow() {
    QPainterPath path;
    addLine(path, {{8, 1.9}, {8, 9.9}});
    addLine(path, {{4.6, 6.6}, {8, 10}, {11.4, 6.6}});
    return path;
}

QPainterPath smallArrow() {
    QPainterPath path;
    addLine(path, {{8, 4.9}, {8, 10.9}});
    addLine(path, {{5.6, 8.5}, {8, 10.9}, {10.4, 8.5}});
    return path;
}

QPainterPath bars() {
    QPainterPath path;
    addLine(path, {{5.7, 2.2}, {5.7, 9}});
    addLine(path, {{10.3, 2.2}, {10.3, 9}});
    return path;
}

/// A line so short that its round ends make it a dot.
void addDot(QPainterPath& path, const QPointF& at) {
    addLine(path, {at, at + QPointF(0.01, 0)});
}

QPainterPath dots() {
    QPainterPath path;
    addDot(path, {4, 6.5});
    addDot(path, {8, 6.5});
    addDot(path, {12, 6.5});
    return path;
}

QPainterPath exclamationMark(qreal top, qreal bottom) {
    QPainterPath path;
    addLine(path, {{8, top}, {8, bottom - 3.2}});
    addDot(path, {8, bottom});
    return path;
}

qreal drawnProgress(const TrayStatus& status) {
    return std::round(std::clamp(status.progress.value_or(0), 0., 1.) * trayProgressSteps) /
           trayProgressSteps;
}

/// All that is drawn, as areas.
struct Shapes {
    QPainterPath faint;
    QPainterPath full;
};

Shapes ring(const TrayStatus& status) {
    if (!status.progress) {
        QPainterPath parts = arc(0.03, 0.2);
        for (const qreal start : {0.28, 0.53, 0.78}) {
            parts.addPath(arc(start, start + 0.17));
        }
        return {{}, strokeOf(parts, strokeWidth)};
    }
    const qreal progress = drawnProgress(status);
    const auto done = progress > 0 ? strokeOf(arc(0, progress), strokeWidth + 0.4) : QPainterPath();
    return {strokeOf(arc(0, 1), strokeWidth - 0.4), done};
}

QPainterPath signOf(const TrayStatus& status) {
    switch (status.kind) {
    case Kind::idle:
        return strokeOf(arrow(), strokeWidth);
    case Kind::running:
        return strokeOf(smallArrow(), strokeWidth);
    case Kind::paused:
        return strokeOf(bars(), strokeWidth + 0.6);
    case Kind::waiting:
        return strokeOf(dots(), strokeWidth + 1);
    case Kind::needsAttention:
        break;
    }
    return strokeOf(status.isRunning ? exclamationMark(4.6, 11.4) : exclamationMark(1.9, 9.9),
                    strokeWidth + 0.6);
}

Shapes shapesOf(const TrayStatus& status) {
    Shapes shapes = status.isRunning ? ring(status) : Shapes{{}, strokeOf(bowl(), strokeWidth)};
    shapes.full.addPath(signOf(status));
    shapes.full.setFillRule(Qt::WindingFill);
    return shapes;
}

class StatusIconEngine : public QIconEngine {
public:
    StatusIconEngine(TrayStatus status, Panel panel) : status_(std::move(status)), panel_(panel) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        drawStatus(*painter, rect, status_, panel_);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        drawStatus(painter, QRectF(QPointF(), size), status_, panel_);
        return pixmap;
    }
    /// What panels ask for; each takes the one that fits.
    QList<QSize> availableSizes(QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}, {64, 64}};
    }
    QIconEngine* clone() const override { return new StatusIconEngine(*this); }

private:
    TrayStatus status_;
    Panel panel_;
};

} // namespace

void drawStatus(QPainter& painter, const QRectF& square, const TrayStatus& status, Panel panel) {
    const Ink ink = inkFor(panel);
    const Shapes shapes = shapesOf(status);
    const qreal side = std::min(square.width(), square.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(square.center());
    painter.scale(side / grid, side / grid);
    painter.translate(-center);
    painter.fillPath(shapes.faint, ink.faint);
    painter.fillPath(shapes.full, ink.shape);
    painter.restore();
}

QIcon statusIcon(const TrayStatus& status, Panel panel) {
    return QIcon(new StatusIconEngine(status, panel));
}

QImage statusImage(const TrayStatus& status, int side, Panel panel) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawStatus(painter, image.rect(), status, panel);
    return image;
}

bool looksAlike(const TrayStatus& one, const TrayStatus& other) {
    return one.kind == other.kind && one.isRunning == other.isRunning &&
           one.progress.has_value() == other.progress.has_value() &&
           drawnProgress(one) == drawnProgress(other);
}

} // namespace fluvane
