// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>

namespace tessivar {

/// Who the application is, for everything that logs or writes a report. Set once at entry, before any thread.
struct AppIdentity {
    std::string displayName; ///< "Fluvane"
    std::string identifier;  ///< Reverse domain name, also the name of the desktop entry.
    std::string projectPage;
    std::string version; ///< Short version, "0.1.0".

    static AppIdentity current;
};

} // namespace tessivar
