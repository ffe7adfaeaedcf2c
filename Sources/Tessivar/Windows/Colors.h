// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QLabel>
#include <QPalette>

namespace tessivar {

/// The ratio by which one colour stands out from the other, 1 to 21.
[[nodiscard]] double contrast(const QColor& one, const QColor& other);
/// The colour `share` of the way from the one to the other, 0 to 1.
[[nodiscard]] QColor blend(const QColor& from, const QColor& to, double share);
/// Text of less weight than the palette's own, on its windows and in its lists: at least 4.5:1 on both.
[[nodiscard]] QColor quietText(const QPalette& palette);
struct Contrast {
    QColor ground;
    double ratio = 4.5;
};
/// The nearest shade of the colour that stands out from the ground by the ratio, darker or lighter as the
/// ground asks.
[[nodiscard]] QColor readable(const QColor& color, const Contrast& wanted);
/// For words and signs of what needs attention, on that ground.
[[nodiscard]] QColor warning(const Contrast& wanted);
enum class RowTint { hovered, resting, selected };
/// What is laid over a row, half transparent: icons, bars and words keep their colours.
[[nodiscard]] QColor rowTint(const QPalette& palette, RowTint tint);
/// A half transparent colour on a ground, as it is seen.
[[nodiscard]] QColor over(const QColor& ground, const QColor& color);
/// Whether the palette is a dark one.
[[nodiscard]] bool isDark(const QPalette& palette);

/// Words of explanation below a control or a heading: quiet, wrapped, and so in any palette. `text` is plain.
class QuietLabel : public QLabel {
    Q_OBJECT

public:
    explicit QuietLabel(const QString& text = {}, QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void tint();
    bool tinting_ = false;
};

} // namespace tessivar
