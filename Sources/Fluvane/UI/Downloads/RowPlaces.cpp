// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/RowPlaces.h"

#include "Tessivar/Windows/Spacing.h"

#include <QStyle>

#include <algorithm>
#include <initializer_list>

namespace fluvane {

namespace spacing = tessivar::spacing;
namespace side = tessivar::side;

namespace {

constexpr int barHeight = 6;
constexpr int gap = 5; ///< Around the bar.
constexpr int headingRoom = spacing::margin + spacing::hair;
constexpr int compactBar = 96;
constexpr int roomForBar = 360;  ///< From this width on a compact row has a bar,
constexpr int roomForLine = 520; ///< and from this one the line in words.
constexpr double lineShare = 0.45;

int headingHeight(const QFontMetrics& metrics) {
    return metrics.height() + headingRoom;
}

int contentHeight(const QFontMetrics& metrics, RowSize size) {
    if (size == RowSize::compact) {
        return std::max(metrics.height(), side::icon) + spacing::medium + spacing::hair;
    }
    return std::max(2 * metrics.height() + barHeight + 2 * gap, side::sign) + 2 * spacing::medium +
           spacing::hair;
}

/// Cuts that much off the end of what is left, with the space before it.
QRect cutEnd(QRect& rest, int width) {
    const QRect cut(rest.right() + 1 - width, rest.top(), width, rest.height());
    rest.setRight(rest.right() - width - spacing::medium);
    return cut;
}

QRect centered(const QRect& in, int height) {
    return {in.left(), in.top() + (in.height() - height) / 2, in.width(), height};
}

int markWidth(const QFontMetrics& metrics) {
    return metrics.horizontalAdvance("100 %");
}

/// A line: what stands in one column in all rows begins at the same place.
void layOutCompact(RowPlaces& places, const QFontMetrics& metrics, bool hasBar) {
    QRect rest = places.row.adjusted(spacing::margin, 0, -spacing::margin, 0);
    const int width = rest.width();
    places.kind = centered({rest.left(), rest.top(), side::icon, rest.height()}, side::icon);
    rest.setLeft(rest.left() + side::icon + spacing::medium);
    places.state = centered(cutEnd(rest, side::icon), side::icon);
    if (width >= roomForLine) {
        places.line = cutEnd(rest, static_cast<int>(width * lineShare));
    }
    if (width >= roomForBar && hasBar) {
        places.bar = centered(cutEnd(rest, compactBar), barHeight);
        places.mark = cutEnd(rest, markWidth(metrics));
    }
    places.name = rest;
}

void layOutFull(RowPlaces& places, const QFontMetrics& metrics, bool hasBar) {
    QRect rest = places.row.adjusted(spacing::margin, 0, -spacing::margin, 0);
    const int text = metrics.height();
    const int height = 2 * text + (hasBar ? barHeight + 2 * gap : spacing::small);
    places.kind = centered({rest.left(), rest.top(), side::sign, rest.height()}, side::sign);
    rest.setLeft(rest.left() + side::sign + spacing::large);
    rest = centered(rest, height);
    QRect first(rest.left(), rest.top(), rest.width(), text);
    places.state = centered(cutEnd(first, side::icon), side::icon);
    if (hasBar) {
        places.mark = cutEnd(first, markWidth(metrics));
        places.bar = QRect(rest.left(), rest.top() + text + gap, rest.width(), barHeight);
    }
    places.name = first;
    places.line = QRect(rest.left(), rest.bottom() + 1 - text, rest.width(), text);
}

} // namespace

RowPlaces rowPlaces(const QStyleOptionViewItem& option, const RowShape& shape) {
    RowPlaces places;
    places.row = option.rect;
    if (shape.hasHeading) {
        const int height = headingHeight(option.fontMetrics);
        places.heading = QRect(option.rect.left() + spacing::margin, option.rect.top(),
                               option.rect.width() - 2 * spacing::margin, height);
        places.row.setTop(option.rect.top() + height);
    }
    const auto layOut = shape.size == RowSize::compact ? layOutCompact : layOutFull;
    layOut(places, option.fontMetrics, shape.hasBar);
    places.second = places.state.translated(-(side::icon + spacing::large), 0);
    for (QRect* const place : {&places.heading, &places.kind, &places.name, &places.mark, &places.bar,
                               &places.line, &places.state, &places.second}) {
        *place = place->width() > 0 ? QStyle::visualRect(option.direction, option.rect, *place) : QRect();
    }
    return places;
}

int rowHeight(const QFontMetrics& metrics, const RowShape& shape) {
    return contentHeight(metrics, shape.size) + (shape.hasHeading ? headingHeight(metrics) : 0);
}

} // namespace fluvane
