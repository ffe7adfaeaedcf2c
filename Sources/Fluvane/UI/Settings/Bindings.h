// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Config.h"

class QCheckBox;
class QSpinBox;

/// Controls that each stand for one setting.
namespace fluvane {

class LiveConfig;

void bind(QCheckBox* box, LiveConfig& live, bool Config::*setting);
/// A number that is just being typed isn't replaced by one that comes from elsewhere; it counts when the
/// field is left.
void bind(QSpinBox* box, LiveConfig& live, int Config::*setting);

} // namespace fluvane
