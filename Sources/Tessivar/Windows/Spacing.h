// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// Every distance in a window, in device-independent pixels. Windows take them from here, so that they share
/// one grid.
namespace tessivar::spacing {

inline constexpr int hair = 2;    ///< Between a thing and its mark.
inline constexpr int small = 4;   ///< Between things that are one.
inline constexpr int medium = 8;  ///< Between controls of a row.
inline constexpr int large = 16;  ///< Between groups.
inline constexpr int margin = 16; ///< Around a window's content.

} // namespace tessivar::spacing
