// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/AppIdentity.h"

namespace tessivar {

AppIdentity AppIdentity::current{};

} // namespace tessivar
