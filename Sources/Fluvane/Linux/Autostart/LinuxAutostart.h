// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"

#include <filesystem>
#include <string>

namespace fluvane {

/// An entry of ours among the programs that the desktop opens when the user logs in. It is read anew each
/// time: other programs switch such entries off, too.
class LinuxAutostart : public Autostart {
public:
    /// `folder` is made when it is missing. `program` is the absolute path of what is opened, in the
    /// background.
    LinuxAutostart(const std::filesystem::path& folder, std::string program);

    /// Of this user and this executable.
    [[nodiscard]] static LinuxAutostart forThisUser();

    [[nodiscard]] bool isOn() const override;
    void set(bool on) override;

private:
    [[nodiscard]] std::string entry() const;

    std::filesystem::path file_;
    std::string program_;
};

} // namespace fluvane
