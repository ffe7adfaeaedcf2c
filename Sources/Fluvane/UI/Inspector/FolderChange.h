// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/Models/WindowContext.h"
#include "Tessivar/Windows/FolderDialog.h"

#include <functional>
#include <string>
#include <vector>

namespace fluvane {

/// Asks for another folder for downloads, with the desktop's dialog, and moves them there. For one window of
/// its own: call `show`, and it deletes itself once closed.
class FolderChange : public tessivar::FolderDialog {
    Q_OBJECT

public:
    /// Tells what couldn't be moved, after the dialog is gone; both are used until then.
    using Tell = std::function<void(const std::string& sentence)>;
    /// The dialog asks the disks of the folders that it shows, and waits for them: those `present` alone.
    FolderChange(WindowContext& context, RecentFolders& recent, std::vector<DownloadID> ids,
                 const std::vector<URL>& present, Tell tell);
    /// Of these it is to be known which are there: the first download's, if any, and those chosen last.
    [[nodiscard]] static std::vector<URL> wanted(const WindowContext& context, const RecentFolders& recent,
                                                 const std::vector<DownloadID>& ids);

private:
    void move(const URL& folder) const;

    WindowContext& context_;
    RecentFolders& recent_;
    std::vector<DownloadID> ids_;
    Tell tell_;
};

} // namespace fluvane
