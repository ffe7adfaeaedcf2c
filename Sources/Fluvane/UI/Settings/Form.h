// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Tessivar/Windows/Colors.h"

#include <QHash>
#include <QList>
#include <QWidget>

class QAbstractButton;
class QGridLayout;

namespace fluvane {

/// A pane's controls on one grid: labels in the first column, controls with a hint below each in the second.
class Form : public QWidget {
    Q_OBJECT

public:
    explicit Form(QWidget* parent = nullptr);

    /// Begins a group.
    void addHeading(const QString& text);
    /// The label is the control's buddy and accessible name.
    void addRow(const QString& label, QWidget* control, const QString& hint = {});
    /// With a hint that changes.
    void addRow(const QString& label, QWidget* control, tessivar::QuietLabel* hint);
    void addButton(QAbstractButton* button, const QString& hint);
    /// An explanation over both columns.
    void addText(const QString& text);
    /// Over both columns.
    void addWide(QWidget* widget, int stretch = 0);
    /// Shows or hides the row of a control that was added.
    void setRowVisible(QWidget* control, bool visible);
    /// Keeps what was added at the top.
    void end();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void guardFromWheel(QWidget* control);

    int row_ = 0;
    QHash<QWidget*, QList<QWidget*>> rows_; ///< What goes with each control.
    QGridLayout* grid_;
};

/// Controls in a row of their own, at their natural width.
[[nodiscard]] QWidget* rowOf(std::initializer_list<QWidget*> controls);

} // namespace fluvane
