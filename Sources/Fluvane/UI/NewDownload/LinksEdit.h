// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <QPlainTextEdit>

#include <vector>

namespace fluvane {

/// Any text, with links in it. What is pasted and isn't text comes out as its links.
class LinksEdit : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit LinksEdit(QWidget* parent = nullptr);

    /// Appends those that aren't words of the text already, one a line; it can be undone.
    void addLinks(const std::vector<URL>& links);

    /// Files, marked-up text and more were pasted, and these links are in them.
    Q_SIGNAL void linksGiven(const std::vector<URL>& links);

    /// Enter was pressed; with Shift it begins a new line.
    Q_SIGNAL void entered();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    [[nodiscard]] bool canInsertFromMimeData(const QMimeData* content) const override;
    void insertFromMimeData(const QMimeData* content) override;
};

/// The text with long lines broken where no link is cut, unless it is longer than any server takes: editors
/// lay out a line as a whole, and take minutes for a megabyte without a blank.
[[nodiscard]] QString withShortLines(const QString& text);

} // namespace fluvane
