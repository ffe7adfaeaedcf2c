// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Session.h"
#include "FluvaneCore/URL.h"

#include <optional>
#include <string>
#include <string_view>

namespace fluvane {

/// What a command's options say of who asks a server: --header, --cookies, --user-agent, --referrer. Nothing
/// that is said of them repeats what was given.
class SessionOptions {
public:
    [[nodiscard]] static bool areNamed(std::string_view option);
    /// Takes a value; returns what is wrong with it.
    [[nodiscard]] std::optional<std::string> take(std::string_view option, const std::string& value);

    /// For a download of the link; null without any.
    [[nodiscard]] SharedSession session(const URL& link) const;
    [[nodiscard]] const std::optional<URL>& referrer() const { return referrer_; }

private:
    [[nodiscard]] std::optional<std::string> takeHeader(std::string_view line);
    [[nodiscard]] std::optional<std::string> takeCookies(std::string_view text);

    Session session_;
    std::optional<URL> referrer_;
};

} // namespace fluvane
