// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Bus.h"
#include "FluvaneEngine/Platform.h"

#include <memory>

namespace fluvane {

/// Keeps the machine from going to sleep by itself, not the screen from going dark: through the desktop's
/// session manager, else its power manager, else the login manager, whichever answers. Asks anew when the one
/// that was asked goes away, and when one to be preferred turns up. Nothing but a log line tells of a
/// refusal. What is held ends with the process at the latest.
///
/// For the main thread; calls return at once, whatever the services do.
class LinuxPower final : public PowerAssertion {
public:
    /// The buses must outlive it.
    explicit LinuxPower(const Buses& buses);
    ~LinuxPower() override;

    void keepAwake(bool on) override;

private:
    class Inhibition;
    std::unique_ptr<Inhibition> inhibition_;
};

} // namespace fluvane
