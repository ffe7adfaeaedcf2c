// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/FileActions.h"
#include "Fluvane/Ports/SettingsAccess.h"
#include "Fluvane/Ports/Windows.h"
#include "Fluvane/UI/Models/ListFeed.h"
#include "FluvaneEngine/DownloadManager.h"

namespace fluvane {

/// What every window works with. All of it outlives the windows.
struct WindowContext {
    DownloadManager& manager;
    ListFeed& feed;
    SettingsAccess& settings;
    FileActions& files;
    Windows& windows;
};

} // namespace fluvane
