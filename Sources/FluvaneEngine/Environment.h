// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Date.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneCore/URL.h"
#include "FluvaneEngine/Platform.h"
#include "FluvaneEngine/ServerCounts.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// What the engine asks of the system besides its ports. Every function is called on the main queue.
struct Environment {
    fileName::TypeRegistry types;
    /// The folder of a path that may begin with "~"; the user's download folder for none.
    std::function<URL(const std::optional<std::string>&)> folder;
    std::function<Date()> today;
    ServerCounts::Storage servers{};
    std::shared_ptr<SessionStore> sessions{}; ///< Null: none outlives the program.
};

} // namespace fluvane
