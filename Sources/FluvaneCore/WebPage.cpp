// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/WebPage.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <array>

namespace fluvane::webPage {

namespace {

using namespace std::string_view_literals;

constexpr std::array pageTypes = {"text/html"sv, "application/xhtml+xml"sv};
constexpr std::array pageExtensions = {"html"sv, "htm"sv, "xhtml"sv, "shtml"sv, "mht"sv, "mhtml"sv};
/// No page is that big: it is the file, whatever its label says.
constexpr std::int64_t tooBigForAPage = 20'000'000;

template <class List>
bool holds(const List& list, std::string_view word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

} // namespace

bool isLikely(const std::optional<std::string>& contentType, std::string_view fileName,
              std::optional<std::int64_t> size) {
    if (!contentType) {
        return false;
    }
    const std::string_view type = std::string_view(*contentType).substr(0, contentType->find(';'));
    if (!holds(pageTypes, text::lowercased(text::trimmed(type)))) {
        return false;
    }
    const bool pageWanted = holds(pageExtensions, text::lowercased(text::pathExtension(fileName)));
    return !pageWanted && (!size || *size < tooBigForAPage);
}

} // namespace fluvane::webPage
