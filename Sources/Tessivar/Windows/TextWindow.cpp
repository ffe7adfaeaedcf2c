// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/TextWindow.h"

#include "Tessivar/Windows/Spacing.h"

#include <QKeySequence>
#include <QLabel>
#include <QMessageBox>
#include <QShortcut>
#include <QWidget>

namespace tessivar {

QLabel* heading(const QString& text) {
    auto* const label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setFont(type::greeting(label->font()));
    return label;
}

void setPlainTexts(QMessageBox& box, const QString& information) {
    box.setInformativeText(information);
    for (QLabel* const label : box.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
    }
}

void closeOnEscape(QWidget& window) {
    auto* const escape = new QShortcut(QKeySequence::Cancel, &window);
    QObject::connect(escape, &QShortcut::activated, &window, &QWidget::close);
}

} // namespace tessivar
