// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string_view>

namespace fluvane {

/// Names the calling thread after the last part of the label.
void nameThread(std::string_view label);

} // namespace fluvane
