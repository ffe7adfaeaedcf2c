// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Platform.h"

/// What a start makes of the records that the last run left, however it ended.
namespace fluvane::restoring {

/// Whether the last run may have ended between the final move and the save that would have told of it.
[[nodiscard]] bool mayBeMoved(const DownloadRecord& record);
/// Whether it did. Asks the disk: to be done aside.
[[nodiscard]] bool wasMoved(const DownloadRecord& record, FileStore& files);
/// Brings a record to where the next run goes on from: what was running is queued again, or waits for the
/// network; pieces that make no sense are dropped; a file that was moved into place right before the end is
/// finished.
[[nodiscard]] DownloadRecord restored(DownloadRecord record, bool wasMoved, bool online, Date today);

} // namespace fluvane::restoring
