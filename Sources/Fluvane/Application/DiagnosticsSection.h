// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadManager.h"
#include "Tessivar/Diagnostics.h"

#include <vector>

namespace fluvane {

/// What a report says of the downloads (by number, with their sizes and states) and the settings (without
/// folders and sites): no links and no file names. Main queue.
[[nodiscard]] std::vector<tessivar::Diagnostics::Section>
diagnosticsSections(const std::vector<const Download*>& downloads, const Config& config);

} // namespace fluvane
