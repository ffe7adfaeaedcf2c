// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/Graphic.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace fluvane {

namespace {

class Spoken : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit Spoken(Graphic& graphic)
        : QAccessibleWidget(&graphic, QAccessible::Graphic), graphic_(graphic) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ValueInterface && graphic_.percent()
                   ? static_cast<QAccessibleValueInterface*>(this)
                   : QAccessibleWidget::interface_cast(type);
    }

    [[nodiscard]] QStringList actionNames() const override { // those that change a value change none here
        QStringList names = QAccessibleWidget::actionNames();
        names.removeAll(increaseAction());
        names.removeAll(decreaseAction());
        return names;
    }

    [[nodiscard]] QVariant currentValue() const override { return graphic_.percent().value_or(0); }
    void setCurrentValue(const QVariant& /*value*/) override {}
    [[nodiscard]] QVariant minimumValue() const override { return 0; }
    [[nodiscard]] QVariant maximumValue() const override { return 100; }
    [[nodiscard]] QVariant minimumStepSize() const override { return 1; }

private:
    Graphic& graphic_;
};

QAccessibleInterface* describe(const QString& /*className*/, QObject* object) {
    auto* graphic = qobject_cast<Graphic*>(object);
    return graphic ? new Spoken(*graphic) : nullptr;
}

} // namespace

Graphic::Graphic(QWidget* parent) : QWidget(parent) {
    QAccessible::installFactory(describe); // once, however often it is called
}

void Graphic::setPercent(std::optional<int> percent) {
    if (percent_ != percent) {
        percent_ = percent;
        QAccessibleValueChangeEvent event(this, percent.value_or(0));
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace fluvane
