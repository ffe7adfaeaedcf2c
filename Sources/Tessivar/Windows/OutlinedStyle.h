// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QProxyStyle>

namespace tessivar {

/// The toolkit's own style with boxes and circles to tick that can be seen on dark windows, too: its outlines
/// are darker than the window, whatever that is.
class OutlinedStyle : public QProxyStyle {
    Q_OBJECT

public:
    OutlinedStyle();

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    /// Buttons of dialogs say what they do in words alone, and questions bear icons of the application's
    /// family.
    [[nodiscard]] int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                                QStyleHintReturn* data) const override;
    [[nodiscard]] QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                                     const QWidget* widget) const override;
};

} // namespace tessivar
