// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/SerialQueue.h"
#include "Fluvane/Ports/FileActions.h"
#include "FluvaneEngine/MainQueue.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace fluvane {

class FileReveal;

/// Files by the desktop's own programs, the freedesktop wastebasket, the desktop's file manager.
class LinuxFileActions : public FileActions {
public:
    /// What it is given must outlive it. `failed` is told, on the main queue, in a sentence why something
    /// couldn't be opened.
    LinuxFileActions(FileReveal& reveal, MainQueue& mainQueue,
                     std::function<void(const std::string&)> failed);
    /// Waits for what is on its way into the wastebasket.
    ~LinuxFileActions() override;

    void open(const URL& thing) override;
    void show(const URL& file) override;
    [[nodiscard]] IsGone isGone() const override;
    [[nodiscard]] VolumeOf volumes() const override;
    /// A file that is gone already counts as moved.
    void moveToWastebasket(const URL& file, Completion completion) override;

private:
    void tellWhy(const URL& thing, std::string_view reason);

    FileReveal& reveal_;
    MainQueue& mainQueue_;
    std::function<void(const std::string&)> failed_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    SerialQueue queue_;
};

} // namespace fluvane
