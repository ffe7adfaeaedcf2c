// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFont>

/// Every distance and size in a window, in device-independent pixels. Windows take them from here, so that
/// they share one grid.
namespace tessivar {

namespace spacing {

inline constexpr int hair = 2;    ///< Between a thing and its mark.
inline constexpr int small = 4;   ///< Between things that are one.
inline constexpr int medium = 8;  ///< Between controls of a row.
inline constexpr int large = 16;  ///< Between groups.
inline constexpr int margin = 12; ///< From the window's edge to what is seen in it.

} // namespace spacing

namespace side {

inline constexpr int icon = 16;    ///< Beside a line of text.
inline constexpr int sign = 24;    ///< Of something with two lines.
inline constexpr int control = 30; ///< The least height of a button or field.
inline constexpr int picture = 96; ///< On an empty page.
/// From the edge of a button without a frame to what is seen of it.
inline constexpr int unseen = (control - icon) / 2;

} // namespace side

namespace radius {

inline constexpr int mark = 4; ///< Of check boxes and squares of that size.
inline constexpr int control = 6;
inline constexpr int row = 6;
inline constexpr int area = 12; ///< Of what fills a window.

} // namespace radius

/// Sizes of type, from the desktop's own font.
namespace type {

inline QFont scaled(QFont font, double size, QFont::Weight weight) {
    font.setPointSizeF(font.pointSizeF() * size);
    font.setWeight(weight);
    return font;
}
/// Over a few lines that belong together.
inline QFont heading(const QFont& font) {
    return scaled(font, 1, QFont::DemiBold);
}
/// What a window or a page is about.
inline QFont title(const QFont& font) {
    return scaled(font, 1.2, QFont::DemiBold);
}
/// Of a page that greets.
inline QFont greeting(const QFont& font) {
    return scaled(font, 1.5, QFont::DemiBold);
}
/// Headings between rows.
inline QFont caption(const QFont& font) {
    return scaled(font, 0.9, QFont::DemiBold);
}

} // namespace type

} // namespace tessivar
