// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/ToolTip.h"

namespace fluvane {

QString plainToolTip(const QString& text) {
    return text.isEmpty() ? text : "<span>" + text.toHtmlEscaped() + "</span>";
}

} // namespace fluvane
