#include "Tessivar/Windows/Icons.h"

#include <QApplication>
#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

#include <memory>
#include <optional>

namespace tessivar {

namespace {

/// Draws a single-coloured picture in a colour that is asked for when it is painted.
class TintedIcon : public QIconEngine {
public:
    TintedIcon(std::shared_ptr<QSvgRenderer> picture, std::optional<QColor> color)
        : picture_(std::move(picture)), color_(std::move(color)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        painter->drawPixmap(rect,
                            scaledPixmap(rect.size(), mode, state, painter->device()->devicePixelRatio()));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1);
    }
    /// `size` is in device pixels where Qt calls this, and the scale has no say.
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State /*state*/, qreal scale) override {
        QPixmap pixmap(size);
        (void)scale;
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        picture_->render(&painter, QRectF(QPointF(0, 0), size));
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), tint(mode));
        return pixmap;
    }
    QIconEngine* clone() const override { return new TintedIcon(*this); }

private:
    [[nodiscard]] QColor tint(QIcon::Mode mode) const {
        const QPalette palette = QApplication::palette();
        if (mode == QIcon::Disabled) {
            return palette.color(QPalette::Disabled, QPalette::WindowText);
        }
        if (mode == QIcon::Selected && !color_) {
            return palette.color(QPalette::HighlightedText);
        }
        return color_.value_or(palette.color(QPalette::WindowText));
    }

    std::shared_ptr<QSvgRenderer> picture_;
    std::optional<QColor> color_;
};

QIcon load(const QString& name, std::optional<QColor> color) {
    const QString file = ":/icons/" + name + ".svg";
    if (!QFile::exists(file)) {
        return {};
    }
    return QIcon(new TintedIcon(std::make_shared<QSvgRenderer>(file), std::move(color)));
}

} // namespace

QIcon icon(const QString& name) {
    return load(name, std::nullopt);
}

QIcon icon(const QString& name, const QColor& color) {
    return load(name, color);
}

} // namespace tessivar
