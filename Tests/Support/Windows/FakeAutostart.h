// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"

#include <stdexcept>
#include <string>

namespace fluvane::support {

class FakeAutostart : public Autostart {
public:
    [[nodiscard]] bool isOn() const override { return on; }
    void set(bool wanted) override {
        if (!failure.empty()) {
            throw std::runtime_error(failure);
        }
        on = wanted;
    }
    bool on = false;
    std::string failure; ///< Of every switching from now on, unless empty.
};

} // namespace fluvane::support
