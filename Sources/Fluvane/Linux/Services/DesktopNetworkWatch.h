// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/NetworkWatch.h"
#include "FluvaneEngine/Platform.h"

#include <memory>

namespace fluvane {

/// What NetworkManager says. Its first answer is reported at once, changes when they have settled, a second
/// after the first of a series. Without NetworkManager the machine counts as online and unlimited, which is
/// reported at the start as soon as it is known that there is none, and when it goes away for longer than
/// that second. While it doesn't answer, nothing is reported.
class DesktopNetworkWatch final : public NetworkWatch {
public:
    /// Both must outlive it.
    DesktopNetworkWatch(Bus& system, Scheduler& scheduler);
    ~DesktopNetworkWatch() override;

    void start(std::function<void(Report)> handler) override;

private:
    class Watcher;
    Bus& system_;
    Scheduler& scheduler_;
    std::unique_ptr<Watcher> watcher_;
};

} // namespace fluvane
