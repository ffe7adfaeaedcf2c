// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

namespace tessivar {

/// Tells screen readers of windows, bars of tabs and texts what Qt tells them wrongly: which they are, which
/// of their parts has the focus. To be called once, when there is an application.
void mendAccessibility();

} // namespace tessivar
