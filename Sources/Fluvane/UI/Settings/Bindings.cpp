// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/Bindings.h"

#include "Fluvane/UI/Settings/LiveConfig.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpinBox>

namespace fluvane {

void bind(QCheckBox* box, LiveConfig& live, bool Config::*setting) {
    live.show(box, [=](const Config& config) {
        const QSignalBlocker quiet(box);
        box->setChecked(config.*setting);
    });
    QObject::connect(box, &QCheckBox::toggled, box,
                     [=, &live](bool on) { live.change([=](Config& config) { config.*setting = on; }); });
}

void bind(QSpinBox* box, LiveConfig& live, int Config::*setting) {
    box->setKeyboardTracking(false);
    auto* const field = box->findChild<QLineEdit*>();
    live.show(box, [=](const Config& config) {
        if (!(field->hasFocus() && field->isModified())) {
            const QSignalBlocker quiet(box);
            box->setValue(config.*setting);
        }
    });
    const auto take = [=, &live] {
        field->setModified(false);
        live.change([=](Config& config) { config.*setting = box->value(); });
    };
    QObject::connect(box, &QSpinBox::valueChanged, box, take);
    QObject::connect(box, &QSpinBox::editingFinished, box, [=] {
        if (field->isModified()) {
            take();
        }
    });
}

} // namespace fluvane
