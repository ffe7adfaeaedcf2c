// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fluvane::links {

/// The texts that look like web links, in order, repeats included; each still has to be read as a link.
/// A host without a scheme counts when it begins with "www." or has an ending of hosts and a path; it is
/// given "http://", since a server that speaks https redirects there while the reverse would not work. `text`
/// is valid UTF-8. Takes time in proportion to the text.
[[nodiscard]] std::vector<std::string> detect(std::string_view text);

/// Whether a host ends as registries have it, and as files and folders usually don't.
[[nodiscard]] bool hasHostEnding(std::string_view host);

} // namespace fluvane::links
