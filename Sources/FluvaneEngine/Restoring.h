// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Platform.h"

/// What a start makes of the records that the last run left, however it ended.
namespace fluvane::restoring {

/// Brings a record to where the next run goes on from: what was running is queued again, or waits for the
/// network; pieces that make no sense are dropped; a file that was moved into place right before the end is
/// finished.
[[nodiscard]] DownloadRecord restored(DownloadRecord record, FileStore& files, bool online, Date today);

} // namespace fluvane::restoring
