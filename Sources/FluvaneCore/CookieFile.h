// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Session.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace fluvane {

/// Cookies as programs exchange them: in the Netscape format, a line each, of seven fields with tabs between.
struct CookieFile {
    std::vector<Cookie> cookies{};
    std::optional<std::size_t> wrongLine{}; ///< The first that is none, counted from 1.

    /// Takes any bytes. Empty lines and comments are passed over.
    [[nodiscard]] static CookieFile parse(std::string_view text);
};

} // namespace fluvane
