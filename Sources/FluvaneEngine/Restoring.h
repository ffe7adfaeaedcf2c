// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Platform.h"

#include <optional>
#include <string>

/// What a start makes of the records that the last run left, however it ended.
namespace fluvane::restoring {

/// Whether the last run may have ended between the final move and the save that would have told of it.
[[nodiscard]] bool mayBeMoved(const DownloadRecord& record);
/// The name that the finished file got if it did; what a move to another file system left of the unfinished
/// one is deleted. Asks the disk: to be done aside.
[[nodiscard]] std::optional<std::string> movedTo(const DownloadRecord& record, FileStore& files,
                                                 DuplicateNaming naming);
/// Where the file is on the way to, of a record that says so.
[[nodiscard]] URL destination(const DownloadRecord& record);
/// Whether it got there before the last run ended; what a move to another file system left in the old place
/// is deleted then. Asks the disk: to be done aside.
[[nodiscard]] bool hasArrived(const DownloadRecord& record, FileStore& files);
/// Brings a record to where the next run goes on from: what was running is queued again, or waits for the
/// network; pieces that make no sense are dropped; a file that was moved into place right before the end is
/// finished.
[[nodiscard]] DownloadRecord restored(DownloadRecord record, const std::optional<std::string>& movedTo,
                                      bool online, Date today);

} // namespace fluvane::restoring
