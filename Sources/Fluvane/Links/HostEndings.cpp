// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/LinkDetector.h"

#include "FluvaneCore/Text.h"

#include <libpsl.h>

#include <algorithm>
#include <array>

namespace fluvane::links {

namespace {

using namespace std::string_view_literals;

/// Endings of hosts that are better known as those of files or folders: "Fluvane.app/Contents" is no link.
constexpr std::array fileEndings = {
    "ac"sv,    "ads"sv,  "am"sv,     "app"sv,  "as"sv,  "bar"sv, "box"sv,   "build"sv, "cab"sv,
    "cc"sv,    "docs"sv, "dot"sv,    "fish"sv, "gs"sv,  "inc"sv, "java"sv,  "la"sv,    "map"sv,
    "md"sv,    "mk"sv,   "ml"sv,     "mm"sv,   "mo"sv,  "mov"sv, "movie"sv, "pm"sv,    "properties"sv,
    "ps"sv,    "pub"sv,  "py"sv,     "rs"sv,   "run"sv, "sc"sv,  "sh"sv,    "so"sv,    "ss"sv,
    "style"sv, "tab"sv,  "target"sv, "td"sv,   "tf"sv,  "tm"sv,  "zip"sv,
};
static_assert(std::is_sorted(fileEndings.begin(), fileEndings.end()));

} // namespace

bool isHostEnding(std::string_view label) {
    const std::string ending = text::lowercased(label);
    const psl_ctx_t* const list = psl_builtin();
    return list && psl_is_public_suffix2(list, ending.c_str(), PSL_TYPE_ICANN | PSL_TYPE_NO_STAR_RULE) &&
           !std::binary_search(fileEndings.begin(), fileEndings.end(), std::string_view(ending));
}

} // namespace fluvane::links
