// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// What an extension may say. Whoever speaks as one is taken for hostile: of a message only the fields that
/// are known and make sense are read, and what goes on to the application is made anew from them.
namespace fluvane::browser {

struct Offered {
    std::string offer;   ///< The extension's name for it: letters, digits and "-".
    std::string request; ///< For the application, as JSON.
};
struct Verdict {
    std::string offer;
    std::string token;
    bool canceled = false; ///< Whether the browser's own download is gone.
};
struct Withdrawn {
    std::string offer;
};
struct StatusAsked {};
/// An offer that can't be one.
struct Senseless {
    std::string offer;
};

using Said = std::variant<Offered, Verdict, Withdrawn, StatusAsked, Senseless>;

/// Absent: nothing that there is an answer to.
[[nodiscard]] std::optional<Said> understand(std::string_view message);

} // namespace fluvane::browser
