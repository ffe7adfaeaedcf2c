// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

namespace fluvane {

/// The text as it is, though Qt takes a tool tip with marks in it for a page.
[[nodiscard]] QString plainToolTip(const QString& text);

} // namespace fluvane
