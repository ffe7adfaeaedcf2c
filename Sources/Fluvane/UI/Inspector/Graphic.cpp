// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/Graphic.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace fluvane {

namespace {

QAccessibleInterface* describe(const QString& /*className*/, QObject* object) {
    auto* graphic = qobject_cast<Graphic*>(object);
    return graphic ? new QAccessibleWidget(graphic, QAccessible::Graphic) : nullptr;
}

} // namespace

Graphic::Graphic(QWidget* parent) : QWidget(parent) {
    QAccessible::installFactory(describe); // once, however often it is called
}

} // namespace fluvane
