// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QProxyStyle>

namespace tessivar {

/// The look of windows where no desktop brings one: Fusion's sizes and manners under flat, rounded controls
/// with slim scroll bars, in the palette's colours. Edges that tell where a control is stand out from their
/// ground by 3:1.
class Style : public QProxyStyle {
    Q_OBJECT

public:
    Style();

    /// Nothing glides or fades: what asks for the duration of an animation gets 0.
    void setMotionReduced(bool reduced) { isMotionReduced_ = reduced; }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    void drawItemText(QPainter* painter, const QRect& place, int flags, const QPalette& palette,
                      bool isEnabled, const QString& text, QPalette::ColorRole role) const override;
    [[nodiscard]] QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& content,
                                         const QWidget* widget) const override;
    [[nodiscard]] QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                                       SubControl part, const QWidget* widget) const override;
    [[nodiscard]] QRect subElementRect(SubElement element, const QStyleOption* option,
                                       const QWidget* widget) const override;
    [[nodiscard]] int pixelMetric(PixelMetric metric, const QStyleOption* option,
                                  const QWidget* widget) const override;
    [[nodiscard]] int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                                QStyleHintReturn* data) const override;
    [[nodiscard]] QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                                     const QWidget* widget) const override;
    void polish(QWidget* widget) override;
    using QProxyStyle::polish;

private:
    bool isMotionReduced_ = false;
};

/// How long a thing of this widget may take to come, go or move, in milliseconds; 0 where the desktop wants
/// no motion.
[[nodiscard]] int motionTime(const QWidget& widget);

} // namespace tessivar
