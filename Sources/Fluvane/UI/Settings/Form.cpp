// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/Form.h"

#include "Tessivar/Windows/Spacing.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QStyle>

namespace fluvane {

namespace spacing = tessivar::spacing;

namespace {

constexpr int widest = 680; ///< Longer lines of text aren't read well.

QString withoutMnemonic(QString label) {
    return label.remove('&');
}

} // namespace

Form::Form(QWidget* parent) : QWidget(parent), grid_(new QGridLayout(this)) {
    setMaximumWidth(widest);
    grid_->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    grid_->setHorizontalSpacing(spacing::large);
    grid_->setVerticalSpacing(spacing::small);
    grid_->setColumnStretch(1, 1);
}

void Form::addHeading(const QString& text) {
    auto* const heading = new QLabel(text, this);
    heading->setTextFormat(Qt::PlainText);
    heading->setFont(tessivar::type::heading(heading->font()));
    if (row_ > 0) {
        grid_->setRowMinimumHeight(row_++, spacing::medium);
    }
    grid_->addWidget(heading, row_++, 0, 1, 2);
}

void Form::addRow(const QString& label, QWidget* control, const QString& hint) {
    addRow(label, control, hint.isEmpty() ? nullptr : new tessivar::QuietLabel(hint, this));
}

void Form::addRow(const QString& label, QWidget* control, tessivar::QuietLabel* hint) {
    guardFromWheel(control);
    auto* const name = new QLabel(label, this);
    QWidget* const first = control->focusProxy() ? control->focusProxy() : control;
    name->setBuddy(first);
    first->setAccessibleName(withoutMnemonic(label));
    grid_->addWidget(name, row_, 0, Qt::AlignLeft | Qt::AlignVCenter);
    const bool takesText = qobject_cast<QLineEdit*>(control);
    grid_->addWidget(control, row_++, 1, takesText ? Qt::Alignment() : Qt::AlignLeft | Qt::AlignVCenter);
    rows_[control] = {name};
    if (hint) {
        first->setAccessibleDescription(hint->text());
        hint->setContentsMargins(0, 0, 0, spacing::medium);
        grid_->addWidget(hint, row_++, 1);
        rows_[control].append(hint);
    } else {
        grid_->setRowMinimumHeight(row_++, spacing::small);
    }
}

/// Its value, and those of controls in it, change by the wheel only after they were gone to.
void Form::guardFromWheel(QWidget* control) {
    const auto guard = [this](QWidget* each) {
        if (qobject_cast<QComboBox*>(each) || qobject_cast<QAbstractSpinBox*>(each)) {
            each->setFocusPolicy(Qt::StrongFocus);
            each->installEventFilter(this);
        }
    };
    guard(control);
    for (QWidget* const inside : control->findChildren<QWidget*>()) {
        guard(inside);
    }
}

/// A wheel that passes over a control scrolls the pane.
bool Form::eventFilter(QObject* watched, QEvent* event) {
    const auto* const control = qobject_cast<QWidget*>(watched);
    if (event->type() == QEvent::Wheel && control && !control->hasFocus()) {
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void Form::setRowVisible(QWidget* control, bool visible) {
    control->setVisible(visible);
    for (QWidget* const other : rows_.value(control)) {
        other->setVisible(visible);
    }
}

void Form::addButton(QAbstractButton* button, const QString& hint) {
    grid_->addWidget(button, row_++, 0, 1, 2, Qt::AlignLeft);
    auto* const below = new tessivar::QuietLabel(hint, this);
    button->setAccessibleDescription(hint);
    if (button->isCheckable()) { // under the text, not under the mark
        const int mark = button->style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                         button->style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
        below->setContentsMargins(mark, 0, 0, spacing::medium);
    }
    grid_->addWidget(below, row_++, 0, 1, 2);
}

void Form::addText(const QString& text) {
    addWide(new tessivar::QuietLabel(text, this));
}

void Form::addWide(QWidget* widget, int stretch) {
    guardFromWheel(widget);
    grid_->setRowStretch(row_, stretch);
    grid_->addWidget(widget, row_++, 0, 1, 2);
}

void Form::end() {
    grid_->setRowStretch(row_++, 1);
}

QWidget* rowOf(std::initializer_list<QWidget*> controls) {
    auto* const row = new QWidget;
    auto* const layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::medium);
    for (QWidget* const control : controls) {
        layout->addWidget(control);
    }
    layout->addStretch();
    row->setFocusProxy(*controls.begin());
    return row;
}

} // namespace fluvane
