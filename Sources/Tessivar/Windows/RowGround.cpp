// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/RowGround.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionViewItem>

#include <optional>

namespace tessivar {

namespace {

std::optional<RowTint> tintOf(QStyle::State state) {
    if (state & QStyle::State_Selected) {
        return state & QStyle::State_Active ? RowTint::selected : RowTint::resting;
    }
    return state & QStyle::State_MouseOver ? std::optional(RowTint::hovered) : std::nullopt;
}

/// A tint alone isn't seen by everybody: what is selected has an edge that stands out.
void paintMark(QPainter& painter, const QStyleOptionViewItem& option, const QRect& place) {
    const QRect mark(place.left(), place.top() + radius::row, spacing::hair + 1,
                     place.height() - 2 * radius::row);
    painter.setBrush(
        readable(option.palette.color(QPalette::Highlight), {option.palette.color(QPalette::Base), 3}));
    painter.drawRoundedRect(QStyle::visualRect(option.direction, place, mark), 1.5, 1.5);
}

} // namespace

QColor paintRowGround(QPainter& painter, const QStyleOptionViewItem& option, const QRect& place) {
    const QColor base = option.palette.color(QPalette::Base);
    QColor ground = base;
    if (const auto tint = tintOf(option.state)) {
        const QColor color = rowTint(option.palette, *tint);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawRoundedRect(place, radius::row, radius::row);
        ground = over(base, color);
        if (option.state & QStyle::State_Selected) {
            paintMark(painter, option, place);
        }
    }
    // A selected row is seen as it is; only what the keyboard does may lead elsewhere.
    const bool isSeen =
        (option.state & QStyle::State_Selected) && !(option.state & QStyle::State_KeyboardFocusChange);
    if ((option.state & QStyle::State_HasFocus) && !isSeen) {
        painter.setPen(QPen(readable(option.palette.color(QPalette::Highlight), {base, 3}), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(place).adjusted(1, 1, -1, -1), radius::row, radius::row);
    }
    return ground;
}

} // namespace tessivar
