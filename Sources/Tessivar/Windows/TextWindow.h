// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

class QLabel;
class QMessageBox;
class QWidget;

/// What windows that show a text have in common.
namespace tessivar {

/// A title within a window.
[[nodiscard]] QLabel* heading(const QString& text);
/// Sets a message's second text, and has all its texts, which may hold names from outside, read as they are:
/// by itself only the first one is.
void setPlainTexts(QMessageBox& box, const QString& information);
/// Escape closes it, as it does a dialog.
void closeOnEscape(QWidget& window);

} // namespace tessivar
