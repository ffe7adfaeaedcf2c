// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Extensions of the system's packages are found at each start, and not only after Firefox itself was updated.
pref("extensions.startupScanScopes", 8);
