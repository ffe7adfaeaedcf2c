// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/Accessibility.h"

#include "Tessivar/Windows/SpokenTabs.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QTabBar>

namespace tessivar {

namespace {

/// Becomes a part of a window or a window only after it is asked for.
class Plain : public QAccessibleWidget {
public:
    explicit Plain(QWidget* widget) : QAccessibleWidget(widget, QAccessible::Client) {}

    [[nodiscard]] QAccessible::Role role() const override {
        const auto type = widget()->isWindow() ? widget()->windowType() : Qt::Widget;
        return type == Qt::Window   ? QAccessible::Window
               : type == Qt::Dialog ? QAccessible::Dialog
                                    : QAccessible::Client;
    }

    /// A widget that hands its focus on says that it has it, too.
    [[nodiscard]] QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        state.focused = state.focused && !widget()->focusProxy();
        return state;
    }
};

QAccessibleInterface* describe(const QString& className, QObject* object) {
    auto* const widget = qobject_cast<QWidget*>(object);
    if (!widget) {
        return nullptr;
    }
    if (className == "QTabBar") {
        return new SpokenTabs(*static_cast<QTabBar*>(widget));
    }
    return className == "QWidget" ? new Plain(widget) : nullptr;
}

} // namespace

void mendAccessibility() {
    QAccessible::installFactory(describe); // once, however often it is called
}

} // namespace tessivar
