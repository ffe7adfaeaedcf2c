// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QRect>

class QPainter;
class QStyleOptionViewItem;

namespace tessivar {

/// What lies under a row that is selected, pointed at or has the focus, alike in every list; returns the
/// colour on which the row's words are.
QColor paintRowGround(QPainter& painter, const QStyleOptionViewItem& option, const QRect& place);

} // namespace tessivar
