// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QMargins>
#include <QString>

class QPainter;
class QRect;

/// What Qt's own drawing gets wrong from right to left.
namespace tessivar {

/// Whether a text drawn with these flags is one of those that `drawWrapped` is for.
[[nodiscard]] bool isWrappedToTheLeft(int flags, const QString& text);

/// Lines that begin at the right edge. Qt moves each that was broken at a space by the width of that space,
/// over the left edge where the line is full. In the painter's pen and font.
void drawWrapped(QPainter& painter, const QRect& place, int flags, const QString& text);

/// The keys of a menu's entry ("text\tkeys") in their order: a comma at their end would be put before them.
[[nodiscard]] QString withKeysInOrder(const QString& entry);

/// A button's text as it is drawn where keys aren't underlined: one that is too long by its key alone isn't
/// shortened.
[[nodiscard]] QString withoutHiddenKey(const QString& text);

/// Folders, links and keys, which are read from the left in any language.
[[nodiscard]] QString leftToRight(const QString& text);

/// Margins of a row that ends with a button without a frame: what is seen of it ends where other rows end.
[[nodiscard]] QMargins endingUnseen(QMargins margins);

/// A text of others that a label shows alone: it begins at the window's own side, whatever it is written in.
[[nodiscard]] QString atOwnSide(const QString& text);

} // namespace tessivar
