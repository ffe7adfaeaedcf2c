// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/Log.h"

/// The engine's categories.
namespace fluvane::log {

inline constexpr tessivar::Log downloads{"downloads"}; ///< Downloads and the list.
inline constexpr tessivar::Log transfers{"transfers"}; ///< Requests and responses.
inline constexpr tessivar::Log files{"files"};         ///< Unfinished and finished files, the store.
inline constexpr tessivar::Log network{"network"};     ///< The state of the network.
using tessivar::log::hidden;
using tessivar::log::lifecycle;

} // namespace fluvane::log
