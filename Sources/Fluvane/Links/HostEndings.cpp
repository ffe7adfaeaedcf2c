#include "Fluvane/Links/LinkDetector.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <array>

namespace fluvane::Links {

namespace {

using namespace std::string_view_literals;

// Sorted. Endings that are better known as those of files or folders (zip, sh, rs, py, md, app, …) are left
// out: "Fluvane.app/Contents" is no link.
constexpr std::array endings = {
    "ai"sv,    "ar"sv,    "art"sv,  "at"sv,       "au"sv,    "be"sv,   "bg"sv,     "biz"sv, "blog"sv, "br"sv,
    "ca"sv,    "cat"sv,   "ch"sv,   "cl"sv,       "cloud"sv, "club"sv, "cn"sv,     "co"sv,  "com"sv,  "cz"sv,
    "de"sv,    "dev"sv,   "dk"sv,   "download"sv, "edu"sv,   "ee"sv,   "es"sv,     "eu"sv,  "fi"sv,   "fm"sv,
    "fr"sv,    "gg"sv,    "gov"sv,  "gr"sv,       "hk"sv,    "hr"sv,   "hu"sv,     "id"sv,  "ie"sv,   "il"sv,
    "in"sv,    "info"sv,  "int"sv,  "io"sv,       "ir"sv,    "is"sv,   "it"sv,     "jp"sv,  "kr"sv,   "li"sv,
    "link"sv,  "live"sv,  "lt"sv,   "lu"sv,       "lv"sv,    "me"sv,   "media"sv,  "mil"sv, "mx"sv,   "my"sv,
    "name"sv,  "net"sv,   "news"sv, "nl"sv,       "no"sv,    "nz"sv,   "online"sv, "org"sv, "page"sv, "pl"sv,
    "pro"sv,   "pt"sv,    "ro"sv,   "ru"sv,       "se"sv,    "sg"sv,   "shop"sv,   "si"sv,  "site"sv, "sk"sv,
    "space"sv, "store"sv, "su"sv,   "tech"sv,     "th"sv,    "to"sv,   "top"sv,    "tr"sv,  "tv"sv,   "tw"sv,
    "ua"sv,    "uk"sv,    "us"sv,   "vn"sv,       "wiki"sv,  "xyz"sv,  "za"sv,     "рф"sv,
};
static_assert(std::is_sorted(endings.begin(), endings.end()));

} // namespace

bool isWellKnownEnding(std::string_view label) {
    return std::binary_search(endings.begin(), endings.end(), std::string_view(text::lowercased(label)));
}

} // namespace fluvane::Links
