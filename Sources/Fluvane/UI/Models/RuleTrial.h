// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RulesModel.h"
#include "FluvaneEngine/Config.h"

#include <string>
#include <string_view>

namespace fluvane {

/// What the rules would do with a link or a file's name that somebody tries on them.
struct RuleTrial {
    std::string id;     ///< Of the rule that chooses the folder; empty when none does.
    std::string folder; ///< Where the file goes, and why, in a sentence.
    std::string site;   ///< How many connections its site gets, in a sentence; empty for a name.

    /// `typed` is a link when it holds "://", else a name. Nothing is said about a blank text.
    [[nodiscard]] static RuleTrial of(std::string_view typed, const Config& config, const FolderOf& folderOf);
};

} // namespace fluvane
