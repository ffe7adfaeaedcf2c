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

bool isRegistered(const char* ending) {
    const psl_ctx_t* const list = psl_builtin();
    return list && psl_is_public_suffix2(list, ending, PSL_TYPE_ICANN | PSL_TYPE_NO_STAR_RULE);
}

} // namespace

bool hasHostEnding(std::string_view host) {
    const std::size_t dot = host.rfind('.');
    const std::string last = text::lowercased(host.substr(dot + 1)); // npos + 1 is 0
    if (std::binary_search(fileEndings.begin(), fileEndings.end(), std::string_view(last))) {
        return false;
    }
    // Some registries give no names right below their country: "co.za" is on the list, "za" isn't.
    const std::size_t before = dot == std::string_view::npos || dot == 0 ? dot : host.rfind('.', dot - 1);
    return isRegistered(last.c_str()) || isRegistered(text::lowercased(host.substr(before + 1)).c_str());
}

} // namespace fluvane::links
