// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// The web links in what people paste, drop and type: mails, chats, Markdown, HTML, shell commands, lists.
namespace fluvane::links {

/// A longer file, in bytes, is no list of links.
inline constexpr std::size_t longestFile = 4'000'000;

/// Numbered ranges expanded, http and https only, in order of appearance, no link twice. Takes any bytes.
[[nodiscard]] std::vector<URL> find(std::string_view text);

/// What is linked to in the text that isn't on the web: "ftp", "magnet" and the like, in a fixed order, with
/// how many of each.
struct OtherKind {
    std::string_view name;
    std::size_t count;
};
[[nodiscard]] std::vector<OtherKind> findOthers(std::string_view text);

struct Counted {
    URL link;
    std::size_t times; ///< It is in the text.
};
/// The same links, and how often each is there.
[[nodiscard]] std::vector<Counted> findCounted(std::string_view text);

/// The links in a text file; none when it is no readable regular file or too long. Never waits for a pipe or
/// a device.
[[nodiscard]] std::vector<URL> findInFile(const std::filesystem::path& file);

/// What was copied, dropped or handed over by a service.
struct Pasteboard {
    std::vector<std::string> urls{}; ///< Its URL objects; what is no absolute link is passed over.
    std::string text{};              ///< Its plain text, if any.
};
/// The URL objects that are web links, as they are, and the links in those that are files, in their order;
/// then the links in the text. No link twice.
[[nodiscard]] std::vector<URL> findOn(const Pasteboard& pasteboard);

} // namespace fluvane::links
