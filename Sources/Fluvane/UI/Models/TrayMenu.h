// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <QString>

#include <string>
#include <vector>

/// What the tray's menu says of the list.
namespace fluvane {

struct TrayMenu {
    std::vector<const Download*> running; ///< In the list's order.
    bool canPause = false;                ///< Anything.
    bool canResume = false;

    [[nodiscard]] static TrayMenu of(const std::vector<const Download*>& downloads);
};

/// How far it is in few words: "37 %, 5 MB/s", "checking the file".
[[nodiscard]] std::string trayProgress(const Download& download);

/// Who draws a menu.
enum class MenuDrawer {
    qt,
    panel ///< Another program that is given the labels on the bus.
};

/// Text from outside as a menu's label, with no character of it taken for the mark of a mnemonic.
[[nodiscard]] QString menuLabel(const QString& text, MenuDrawer drawer);

} // namespace fluvane
