// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Turns.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace fluvane {

/// What goes on as long as any download is active: the machine is kept awake, and twice a second speeds and
/// times left are measured.
class Beat {
public:
    /// `beaten` is called with the number of the beat, in its turn.
    Beat(std::shared_ptr<Scheduler> scheduler, std::shared_ptr<PowerAssertion> power,
         const DownloadList& list, const Conditions& conditions, Turns& turns,
         std::function<void(std::int64_t)> beaten);

    /// The list or the settings changed: begins or ends.
    void follow();
    void stop();

private:
    void tick();
    void arm(bool on);
    void keepAwake(bool on);

    std::shared_ptr<Scheduler> scheduler_;
    std::shared_ptr<PowerAssertion> power_;
    const DownloadList& list_;
    const Conditions& conditions_;
    Turns& turns_;
    std::function<void(std::int64_t)> beaten_;
    std::shared_ptr<Cancellable> ticker_;
    std::int64_t ticks_ = 0;
    bool awake_ = false;
};

} // namespace fluvane
