// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QRect>
#include <QStyleOptionViewItem>

namespace fluvane {

/// Where the parts of a row go, mirrored for layouts from right to left. What has no place is empty.
struct RowPlaces {
    QRect heading; ///< Of the group that begins with the row; above all the rest.
    QRect row;     ///< All but the heading.
    QRect kind;
    QRect name;
    QRect mark; ///< How much is done, in words.
    QRect bar;
    QRect line;
    QRect state;  ///< Or the row's button.
    QRect second; ///< Another button, over what else is there.
};

enum class RowSize { full, compact };

/// What of a row decides how it is laid out.
struct RowShape {
    RowSize size = RowSize::full;
    bool hasBar = false;
    bool hasHeading = false;
};

[[nodiscard]] RowPlaces rowPlaces(const QStyleOptionViewItem& option, const RowShape& shape);
/// In device-independent pixels.
[[nodiscard]] int rowHeight(const QFontMetrics& metrics, const RowShape& shape);

} // namespace fluvane
