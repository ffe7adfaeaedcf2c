// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <string_view>

namespace fluvane::links {

/// Whether a text is the source of a mail whose "=" are escaped and whose lines are folded. A link may hold
/// what looks like an escape ("?view=3D"), so it takes more than one of those.
[[nodiscard]] bool isQuotedPrintable(std::string_view text);

/// The escapes decoded and the folded lines joined; valid UTF-8, whatever the bytes are.
[[nodiscard]] std::string decodedQuotedPrintable(std::string_view text);

} // namespace fluvane::links
