// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace fluvane {

/// The application on the session bus, where desktops look for it: org.freedesktop.Application under the name
/// of the application's identifier. On each connection the object is there before the name, so that whoever
/// started us by a call finds it. For the main thread; nothing waits for the bus, and without one there is
/// just no such door.
class DesktopDoor {
public:
    /// The token, if any, lets a window come to the front.
    struct Visitor {
        std::function<void(const std::string& token)> activate;
        std::function<void(const std::vector<std::string>& things, const std::string& token)> open;
        std::function<void(const std::string& action, const std::string& token)> act;
    };

    /// The bus must outlive it.
    DesktopDoor(Bus& session, const std::string& identifier, Visitor visitor);
    ~DesktopDoor();
    DesktopDoor(const DesktopDoor&) = delete;
    DesktopDoor& operator=(const DesktopDoor&) = delete;

private:
    class Object;
    std::shared_ptr<Object> object_;
};

} // namespace fluvane
