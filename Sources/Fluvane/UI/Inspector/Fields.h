// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/Windows/ReadOnlyLine.h"

#include <QLabel>

namespace fluvane {

/// A value of any length in one line, without a frame: can be selected and copied whole. While it has no
/// focus its middle is left out where it is too narrow; the whole is its tool tip then.
class ValueField : public tessivar::ReadOnlyLine {
    Q_OBJECT

public:
    explicit ValueField(QWidget* parent = nullptr);
    void setValue(const QString& value, const QString& toolTip = {});

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
};

/// Text in one line whose middle is left out where it is too narrow; the whole is its tool tip then.
class ElidedLabel : public QLabel {
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);
    void setWhole(const QString& text);

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
};

/// Sets a label's text when it is another one. Words too long for a narrow place may break anywhere.
void setWords(QLabel& label, const QString& text);

} // namespace fluvane
