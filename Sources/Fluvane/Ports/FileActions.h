// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <functional>
#include <optional>
#include <string>

namespace fluvane {

/// What the desktop does with files for the user. The main queue's; nothing waits for a program or a disk.
class FileActions {
public:
    virtual ~FileActions() = default;

    /// With the program the user has for such files; also for web links.
    virtual void open(const URL& thing) = 0;
    /// In the file manager, selected; just its folder when the file is gone.
    virtual void show(const URL& file) = 0;
    /// Tells of a file whether nothing has its name anymore. Owns what it needs: for any thread, where it
    /// takes as long as the disk does.
    using IsGone = std::function<bool(const URL& file)>;
    [[nodiscard]] virtual IsGone isGone() const = 0;
    /// Tells of a file on which volume it is by its name, a text that is the same for all on one; asks no
    /// disk.
    using VolumeOf = std::function<std::string(const URL& file)>;
    /// As they are now.
    [[nodiscard]] virtual VolumeOf volumes() const = 0;
    /// Into the wastebasket, from where it can be put back. Calls back with the reason when it can't be
    /// moved there, and then it stays where it is.
    using Completion = std::function<void(const std::optional<std::string>& error)>;
    virtual void moveToWastebasket(const URL& file, Completion completion) = 0;
};

} // namespace fluvane
