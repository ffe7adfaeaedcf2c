// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/Colors.h"

#include <QApplication>
#include <QEvent>

#include <algorithm>
#include <cmath>

namespace tessivar {

namespace {

constexpr double enough = 4.5;
constexpr int steps = 40;

double linear(double channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color) {
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

} // namespace

QColor blend(const QColor& from, const QColor& to, double share) {
    const auto mix = [share](float a, float b) { return a + (b - a) * static_cast<float>(share); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()));
}

double contrast(const QColor& one, const QColor& other) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

QColor quietText(const QPalette& palette) {
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    for (int step = 14; step > 0; --step) {
        const QColor quieter = blend(text, window, step / static_cast<double>(steps));
        if (contrast(quieter, window) >= enough && contrast(quieter, base) >= enough) {
            return quieter;
        }
    }
    return text;
}

QColor readable(const QColor& color, const Contrast& wanted) {
    const QColor end = luminance(wanted.ground) > 0.18 ? QColor(Qt::black) : QColor(Qt::white);
    for (int step = 0; step < steps; ++step) {
        const QColor shade = blend(color, end, step / static_cast<double>(steps));
        if (contrast(shade, wanted.ground) >= wanted.ratio) {
            return shade;
        }
    }
    return end;
}

QColor warning(const Contrast& wanted) {
    return readable(QColor(0xC0, 0x1C, 0x28), wanted);
}

QColor rowTint(const QPalette& palette, RowTint tint) {
    QColor color = palette.color(tint == RowTint::hovered ? QPalette::Text : QPalette::Highlight);
    color.setAlphaF(tint == RowTint::hovered ? 0.04F : tint == RowTint::resting ? 0.12F : 0.20F);
    return color;
}

QColor over(const QColor& ground, const QColor& color) {
    return blend(ground, QColor(color.rgb()), color.alphaF());
}

bool isDark(const QPalette& palette) {
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
}

QuietLabel::QuietLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    tint();
}

void QuietLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !tinting_) {
        tint();
    }
}

void QuietLabel::tint() {
    tinting_ = true;
    QPalette quiet; // all but this one colour goes on following the application's
    quiet.setColor(QPalette::WindowText, quietText(QApplication::palette()));
    setPalette(quiet);
    tinting_ = false;
}

} // namespace tessivar
