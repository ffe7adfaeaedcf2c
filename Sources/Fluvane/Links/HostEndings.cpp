// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/LinkDetector.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <array>

namespace fluvane::links {

namespace {

using namespace std::string_view_literals;

// Sorted. Endings that are better known as those of files or folders (zip, sh, rs, py, md, app, …) are left
// out: "Fluvane.app/Contents" is no link.
constexpr std::array endings = {
    "ae"sv,    "ai"sv,      "ar"sv,    "art"sv,   "at"sv,    "au"sv,       "ba"sv,     "bd"sv,
    "be"sv,    "bg"sv,      "bio"sv,   "biz"sv,   "blog"sv,  "br"sv,       "by"sv,     "bz"sv,
    "ca"sv,    "cat"sv,     "ch"sv,    "cl"sv,    "cloud"sv, "club"sv,     "cn"sv,     "co"sv,
    "com"sv,   "cy"sv,      "cz"sv,    "de"sv,    "dev"sv,   "digital"sv,  "dk"sv,     "download"sv,
    "ec"sv,    "edu"sv,     "ee"sv,    "email"sv, "es"sv,    "eu"sv,       "fi"sv,     "fm"sv,
    "fr"sv,    "games"sv,   "ge"sv,    "gg"sv,    "gl"sv,    "gov"sv,      "gr"sv,     "hk"sv,
    "hr"sv,    "hu"sv,      "id"sv,    "ie"sv,    "il"sv,    "in"sv,       "info"sv,   "int"sv,
    "io"sv,    "ir"sv,      "is"sv,    "it"sv,    "jp"sv,    "ke"sv,       "kr"sv,     "kz"sv,
    "li"sv,    "link"sv,    "live"sv,  "lk"sv,    "lt"sv,    "lu"sv,       "lv"sv,     "ly"sv,
    "ma"sv,    "me"sv,      "media"sv, "mil"sv,   "mt"sv,    "mx"sv,       "my"sv,     "name"sv,
    "net"sv,   "network"sv, "news"sv,  "ng"sv,    "nl"sv,    "no"sv,       "nz"sv,     "online"sv,
    "org"sv,   "page"sv,    "pe"sv,    "ph"sv,    "pk"sv,    "pl"sv,       "pro"sv,    "pt"sv,
    "pw"sv,    "qa"sv,      "ro"sv,    "rocks"sv, "ru"sv,    "sa"sv,       "se"sv,     "sg"sv,
    "shop"sv,  "si"sv,      "site"sv,  "sk"sv,    "space"sv, "st"sv,       "store"sv,  "su"sv,
    "tech"sv,  "th"sv,      "to"sv,    "today"sv, "top"sv,   "tr"sv,       "tv"sv,     "tw"sv,
    "ua"sv,    "uk"sv,      "us"sv,    "uy"sv,    "uz"sv,    "ve"sv,       "vn"sv,     "wiki"sv,
    "world"sv, "ws"sv,      "xyz"sv,   "za"sv,    "zone"sv,  "ελ"sv,       "бел"sv,    "ею"sv,
    "рф"sv,    "срб"sv,     "укр"sv,   "қаз"sv,   "ישראל"sv, "السعودية"sv, "امارات"sv, "ایران"sv,
    "مصر"sv,   "भारत"sv,    "ไทย"sv,   "中国"sv,  "中國"sv,  "台湾"sv,     "台灣"sv,   "香港"sv,
    "한국"sv,
};
static_assert(std::is_sorted(endings.begin(), endings.end()));

} // namespace

bool isWellKnownEnding(std::string_view label) {
    return std::binary_search(endings.begin(), endings.end(), std::string_view(text::lowercased(label)));
}

} // namespace fluvane::links
