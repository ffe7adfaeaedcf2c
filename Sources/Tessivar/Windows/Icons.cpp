// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/Icons.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <memory>
#include <optional>

namespace tessivar {

namespace {

/// Draws a single-coloured picture in a colour that is asked for when it is painted. Sizes of pictures are in
/// device pixels, for which Qt asks here whatever the scale.
class TintedIcon : public QIconEngine {
public:
    TintedIcon(QString name, std::shared_ptr<QSvgRenderer> picture, std::optional<QColor> color)
        : name_(std::move(name)), picture_(std::move(picture)), color_(std::move(color)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State /*state*/) override {
        const int side = std::min(rect.width(), rect.height());
        const qreal scale = painter->device()->devicePixelRatio();
        QPixmap picture = drawn(QSize(side, side) * scale, tint(mode));
        picture.setDevicePixelRatio(scale);
        const QRect square(0, 0, side, side);
        painter->drawPixmap(square.translated(rect.center() - square.center()), picture);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State /*state*/) override {
        return drawn(size, tint(mode));
    }
    QIconEngine* clone() const override { return new TintedIcon(*this); }

private:
    [[nodiscard]] QColor tint(QIcon::Mode mode) const {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled) {
            return palette.color(QPalette::Disabled, QPalette::WindowText);
        }
        return color_.value_or(palette.color(QPalette::WindowText));
    }

    [[nodiscard]] QPixmap drawn(const QSize& size, const QColor& color) const {
        const QString key = QStringLiteral("tessivar-icon %1 %2x%3 %4")
                                .arg(name_)
                                .arg(size.width())
                                .arg(size.height())
                                .arg(color.name(QColor::HexArgb));
        QPixmap pixmap;
        if (!QPixmapCache::find(key, &pixmap)) {
            pixmap = draw(size, color);
            QPixmapCache::insert(key, pixmap);
        }
        return pixmap;
    }

    [[nodiscard]] QPixmap draw(const QSize& size, const QColor& color) const {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        const int side = std::min(size.width(), size.height());
        QPainter painter(&pixmap);
        picture_->render(&painter,
                         QRectF((size.width() - side) / 2., (size.height() - side) / 2., side, side));
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), color);
        return pixmap;
    }

    QString name_;
    std::shared_ptr<QSvgRenderer> picture_;
    std::optional<QColor> color_;
};

QIcon load(const QString& name, std::optional<QColor> color) {
    const QString file = ":/icons/" + name + ".svg";
    if (!QFile::exists(file)) {
        return {};
    }
    return QIcon(new TintedIcon(name, std::make_shared<QSvgRenderer>(file), std::move(color)));
}

} // namespace

QIcon icon(const QString& name) {
    return load(name, std::nullopt);
}

QIcon icon(const QString& name, const QColor& color) {
    return load(name, color);
}

QIcon foldIcon(bool isOpen) {
    const bool isMirrored = QGuiApplication::layoutDirection() == Qt::RightToLeft;
    return icon(isOpen ? "chevron-down" : isMirrored ? "chevron-left" : "chevron-right");
}

} // namespace tessivar
