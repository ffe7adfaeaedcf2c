// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace tessivar {

/// An icon of the application's own family, by its file's name without ".svg" (resources under ":/icons/").
/// Single-coloured icons are drawn in the palette's text colour as it is when they are painted, dimmed while
/// disabled, at any size and scale. Null for a name that isn't there.
[[nodiscard]] QIcon icon(const QString& name);
/// The same in a fixed colour.
[[nodiscard]] QIcon icon(const QString& name, const QColor& color);
/// Beside what folds.
[[nodiscard]] QIcon foldIcon(bool isOpen);

} // namespace tessivar
