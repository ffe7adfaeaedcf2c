// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <functional>
#include <optional>

namespace fluvane {

/// Watches whether there is a network and whether it should be spared. The main queue's.
class NetworkWatch {
public:
    struct Report {
        bool online = true;
        std::optional<LimitedNetwork> limited{};
        friend bool operator==(const Report&, const Report&) = default;
    };
    virtual ~NetworkWatch() = default;
    /// Once. The handler is called on the main queue, with the state at the start as soon as it is known,
    /// which may be never, and with every change, though it may report the same state again.
    virtual void start(std::function<void(Report)> handler) = 0;
};

} // namespace fluvane
