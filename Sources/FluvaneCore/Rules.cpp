// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Rules.h"

#include "FluvaneCore/Text.h"
#include "FluvaneCore/URL.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>

namespace fluvane {

namespace {

struct KindEntry {
    FileKind kind;
    std::string_view rawValue;
    std::string_view name;
    std::string_view extensions; ///< Separated by blanks.
};

constexpr std::array kinds = {
    KindEntry{FileKind::diskImages, "diskImages", tessivar::marked("Disk images and installers"),
              "iso img deb rpm appimage flatpak flatpakref run snap dmg pkg mpkg xip sparseimage"},
    KindEntry{FileKind::archives, "archives", tessivar::marked("Archives"),
              "zip tar gz tgz bz2 tbz xz txz zst 7z rar lz lzma"},
    KindEntry{FileKind::video, "video", tessivar::marked("Video"),
              "mp4 m4v mov mkv avi webm wmv flv mpg mpeg"},
    KindEntry{FileKind::audio, "audio", tessivar::marked("Audio"),
              "mp3 m4a aac flac wav aiff aif ogg opus alac"},
    KindEntry{FileKind::documents, "documents", tessivar::marked("Documents"),
              "pdf doc docx xls xlsx ppt pptx pages numbers key txt rtf md csv epub odt ods"},
    KindEntry{FileKind::images, "images", tessivar::marked("Images"),
              "jpg jpeg png gif heic heif webp tif tiff svg bmp raw"},
};

const KindEntry& find(FileKind kind) {
    return kinds[static_cast<std::size_t>(kind)];
}

/// Whether a host is the site or one of its subdomains.
bool covers(const std::string& shownSite, const std::optional<std::string>& host) {
    if (!host || shownSite.empty()) {
        return false;
    }
    const std::string site = URL::siteName(shownSite);
    const std::string name = URL::siteName(text::lowercased(*host));
    const bool subdomain =
        name.size() > site.size() && name.ends_with(site) && name[name.size() - site.size() - 1] == '.';
    return name == site || subdomain;
}

bool isWordCharacter(std::string_view character) {
    return text::isLetterOrDigit(text::firstScalar(character).value);
}

} // namespace

std::string_view fileKind::name(FileKind kind) {
    return find(kind).name;
}

std::string_view fileKind::rawValue(FileKind kind) {
    return find(kind).rawValue;
}

std::optional<FileKind> fileKind::from(std::string_view rawValue) {
    const auto entry =
        std::find_if(kinds.begin(), kinds.end(), [&](const KindEntry& k) { return k.rawValue == rawValue; });
    return entry == kinds.end() ? std::nullopt : std::optional(entry->kind);
}

bool fileKind::hasExtension(FileKind kind, std::string_view extension) {
    const auto list = extensions(kind);
    return std::find(list.begin(), list.end(), extension) != list.end();
}

std::vector<std::string_view> fileKind::extensions(FileKind kind) {
    std::vector<std::string_view> result;
    std::string_view rest = find(kind).extensions;
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        result.push_back(word);
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    }
    return result;
}

std::string Rule::site(std::string_view typed) {
    std::string result = text::lowercased(text::trimmed(typed));
    const bool absolute = result.find("://") != std::string::npos;
    const auto url = URL::parse(absolute ? result : "https://" + result);
    if (url && url->host()) {
        result = *url->host();
    }
    return result.starts_with("www.") ? result.substr(4) : result;
}

std::vector<std::string> Rule::extensions(std::string_view typed) {
    const std::string lower = text::lowercased(typed);
    std::vector<std::string> result;
    bool inWord = false;
    for (const std::string_view character : text::characters(lower)) {
        const bool belongs = isWordCharacter(character);
        if (belongs && !inWord) {
            result.emplace_back();
        }
        if (belongs) {
            result.back() += character;
        }
        inWord = belongs;
    }
    return result;
}

bool Rule::fits(std::string_view fileName, const std::optional<std::string>& host) const {
    if (const auto* rule = std::get_if<Site>(&match)) {
        return covers(rule->site, host);
    }
    const std::string extension = text::lowercased(text::pathExtension(fileName));
    if (const auto* rule = std::get_if<Kind>(&match)) {
        return fileKind::hasExtension(rule->kind, extension);
    }
    const auto& list = std::get<Extensions>(match).extensions;
    return !extension.empty() && std::find(list.begin(), list.end(), extension) != list.end();
}

const Rule* rules::folderRule(const std::vector<Rule>& list, std::string_view fileName,
                              const std::optional<std::string>& host) {
    const auto rule = std::find_if(list.begin(), list.end(),
                                   [&](const Rule& r) { return r.folder && r.fits(fileName, host); });
    return rule == list.end() ? nullptr : &*rule;
}

std::optional<int> rules::connections(const std::vector<Rule>& list, const std::optional<std::string>& host) {
    std::optional<int> strictest;
    for (const Rule& rule : list) {
        const auto* site = std::get_if<Rule::Site>(&rule.match);
        if (site && rule.connections && covers(site->site, host)) {
            strictest = std::min(strictest.value_or(*rule.connections), *rule.connections);
        }
    }
    return strictest;
}

} // namespace fluvane
