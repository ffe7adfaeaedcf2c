// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <array>
#include <span>
#include <string_view>

namespace fluvane {

/// One command of the command line, and all that is said of it: usage, manual and the shells' completions are
/// made of this table (the latter two by Packaging/DescribeCommands.cpp). Texts are in English and constant.
struct CommandEntry {
    /// What a shell offers for an argument.
    struct Place {
        enum class Kind { nothing, number, numberOrAll, word, file, folder, text };
        Kind kind = Kind::nothing;
        std::string_view label{}; ///< What zsh calls it.
        std::string_view words{}; ///< To choose from, with blanks between them.
        friend constexpr bool operator==(const Place&, const Place&) = default;
    };

    std::string_view name;
    std::string_view arguments{}; ///< <a placeholder>, or a word as it is typed; in [] what may be left out.
    std::string_view
        usage{}; ///< Absent: usage doesn't list it. Of several lines none stands beside the name.
    std::string_view brief{};  ///< For completions; absent: as in usage.
    std::string_view manual{}; ///< In roff; absent: as in usage.
    std::array<Place, 2> places{};
    bool launches = false;  ///< Starts the application that it can't find.
    bool takesPath = false; ///< Its first argument is one.
};

struct CommandGroup {
    std::string_view title;
    std::span<const CommandEntry> commands;
};

/// All commands, in the order in which they are shown.
[[nodiscard]] std::span<const CommandGroup> commandGroups();

/// The command of this name, in lower case; none: null.
[[nodiscard]] const CommandEntry* commandNamed(std::string_view name);

} // namespace fluvane
