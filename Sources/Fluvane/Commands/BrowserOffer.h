// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Session.h"
#include "FluvaneCore/URL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// A download that a browser has begun and would leave to us, or links that a person chose there.
struct BrowserOffer {
    std::vector<URL> links{};       ///< Before redirects; one, unless a person chose them. Never empty.
    std::optional<URL> finalLink{}; ///< Where the browser was led to.
    std::optional<URL> referrer{};
    SharedSession session{};            ///< The browser's for it.
    std::optional<std::int64_t> size{}; ///< As the browser was told, in bytes.
    std::optional<std::string> type{};
    std::optional<std::string> name{};
    bool byPerson = false; ///< Nothing of the browser's has to be ended.

    /// Of a request's text; absent when it is none. Fields that make no sense are left out, and what could
    /// end a header's line with the whole of its field.
    [[nodiscard]] static std::optional<BrowserOffer> parse(std::string_view text);

    /// The site that it was offered on: the page's, or the link's.
    [[nodiscard]] std::string site() const;
};

} // namespace fluvane
