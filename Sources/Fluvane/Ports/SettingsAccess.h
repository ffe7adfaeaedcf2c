// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Config.h"
#include "TessivarCore/Subscription.h"

#include <functional>
#include <string>

namespace fluvane {

/// What the commands and the windows need of the settings. The main queue's; a failure is an exception whose
/// text is for the user. A change is on disk, and in force in the engine, when the call returns.
class SettingsAccess {
public:
    virtual ~SettingsAccess() = default;
    [[nodiscard]] virtual Config config() const = 0;
    virtual void update(const Config& config) = 0;
    /// Every later value, whoever changed it, until the subscription is dropped; not the current one.
    [[nodiscard]] virtual tessivar::Subscription subscribe(std::function<void(const Config&)> handler) = 0;
    /// The settings file's text as it is exported.
    [[nodiscard]] virtual std::string exportText() = 0;
    virtual void exportTo(const std::string& path) = 0;
    virtual void importFrom(const std::string& path) = 0;
};

} // namespace fluvane
