// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/LiveConfig.h"

#include "TessivarPhrases/QtPhrases.h"

#include <exception>

namespace fluvane {

LiveConfig::LiveConfig(WindowContext& context) : manager_(context.manager), settings_(context.settings) {
    changes_ = settings_.subscribe([this](const Config& config) { Q_EMIT changed(config); });
}

bool LiveConfig::change(const std::function<void(Config&)>& change) {
    const Config before = config();
    Config wanted = before;
    change(wanted);
    wanted.clamp();
    try {
        if (wanted != before) {
            settings_.update(wanted);
        }
        Q_EMIT changed(config()); // a number out of bounds, too, is shown as it counts
        Q_EMIT saved();
        return true;
    } catch (const std::exception& error) {
        Q_EMIT failed(tessivar::qKeptShown(error.what()));
        Q_EMIT changed(config());
        return false;
    }
}

void LiveConfig::show(QObject* context, const std::function<void(const Config&)>& show) {
    connect(this, &LiveConfig::changed, context, show);
    show(config());
}

} // namespace fluvane
