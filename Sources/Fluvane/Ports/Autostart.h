// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

namespace fluvane {

/// Whether the application opens when the user logs in. The main queue's.
class Autostart {
public:
    virtual ~Autostart() = default;
    [[nodiscard]] virtual bool isOn() const = 0;
    /// Fails with std::runtime_error, a sentence for the user, and then stays as it was.
    virtual void set(bool on) = 0;
};

} // namespace fluvane
