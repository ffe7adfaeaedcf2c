// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/FileName.h"

#include "FluvaneCore/Headers.h"
#include "FluvaneCore/Text.h"

#include <algorithm>
#include <vector>

namespace fluvane::fileName {

namespace {

/// A longer extension, in bytes, is no extension worth keeping when a name is cut.
constexpr std::size_t longestExtension = 20;

/// A blank for a control or a line break, which has parted something, and nothing for what isn't seen anyway.
std::string withoutUnsafeCharacters(std::string_view name) {
    auto result = text::replacingMisleading(
        name, [](char32_t scalar) { return text::isControl(scalar) || text::isNewline(scalar) ? " " : ""; });
    std::ranges::replace_if(
        result, [](char c) { return c == '/' || c == ':' || c == '\\'; }, '-');
    return result;
}

/// Whole characters from the start, at most `bytes` bytes.
std::string_view cut(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) {
        return text;
    }
    std::size_t length = 0;
    for (const std::string_view character : text::characters(text)) {
        if (length + character.size() > bytes) {
            break;
        }
        length += character.size();
    }
    if (length == 0) { // a first character of many marks: as many of its scalars as fit
        std::size_t next = text::firstScalar(text).length;
        while (next <= bytes) {
            length = next;
            next += text::firstScalar(text.substr(length)).length;
        }
    }
    return text.substr(0, length);
}

/// A stem cut so that the whole fits, or the two cut as one where that would leave no stem.
std::string joined(std::string_view stem, std::string_view suffix, std::size_t bytes) {
    const std::size_t room = bytes > suffix.size() ? bytes - suffix.size() : 0;
    const std::string_view start = cut(stem, room);
    if (start.empty()) {
        return std::string(cut(std::string(stem) + std::string(suffix), bytes));
    }
    return std::string(start) + std::string(suffix);
}

bool keepsExtension(std::string_view extension) {
    return !extension.empty() && extension.size() <= longestExtension;
}

std::optional<std::string> nameFromLink(const URL& url) {
    const auto component = text::percentDecoded(url.lastPathComponent());
    return component && *component != "/" ? clean(*component) : std::nullopt;
}

std::optional<std::string> extensionFor(const std::optional<std::string>& mimeType,
                                        const TypeRegistry& registry) {
    if (!mimeType || !registry) {
        return std::nullopt;
    }
    const std::string_view withoutParameters = std::string_view(*mimeType).substr(0, mimeType->find(';'));
    const std::string type = text::lowercased(text::trimmed(withoutParameters));
    if (type.empty() || type == "application/octet-stream") {
        return std::nullopt;
    }
    return registry(type);
}

std::string numbered(const StemAndExtension& parts, DuplicateNaming style, std::int64_t number,
                     std::size_t bytes) {
    const std::string suffix = duplicateNaming::name(style, "", number, parts.extension);
    return std::string(cut(parts.stem, bytes - suffix.size())) + suffix;
}

/// The parts to number: an extension too long to keep counts as stem, since the stem is what gets cut.
StemAndExtension partsToNumber(std::string_view name, std::size_t bytes) {
    StemAndExtension parts = split(name);
    const std::size_t longestNumber = 22;
    const bool fits = name.size() + longestNumber <= bytes;
    if (!fits && !keepsExtension(text::pathExtension(name))) {
        return {std::string(name), ""};
    }
    return parts;
}

} // namespace

std::string suggested(const std::optional<std::string>& disposition, const URL& url,
                      const std::optional<std::string>& mimeType, const TypeRegistry& registry) {
    const auto sent = disposition ? contentDisposition::fileName(*disposition) : std::nullopt;
    auto name = sent ? clean(*sent) : std::nullopt;
    if (!name) {
        name = nameFromLink(url);
    }
    std::string result = name.value_or("download");
    if (text::pathExtension(result).empty()) {
        if (const auto extension = extensionFor(mimeType, registry)) {
            result += "." + *extension;
        }
    }
    return shortened(result, longest);
}

std::optional<std::string> clean(std::string_view name) {
    const std::string safe = withoutUnsafeCharacters(name);
    std::string_view result = text::trimmed(safe);
    while (result.starts_with('.')) { // also behind the blanks that a dot hid: ". .." must not come to ".."
        result.remove_prefix(std::min(result.find_first_not_of('.'), result.size()));
        result = text::trimmedKeepingNewlines(result);
    }
    return result.empty() ? std::nullopt : std::optional(shortened(result, longest));
}

StemAndExtension split(std::string_view name) {
    const std::string_view extension = text::pathExtension(name);
    if (extension.empty()) {
        return {std::string(name), ""};
    }
    const std::string_view base = name.substr(0, name.size() - extension.size() - 1);
    const std::string inner = text::lowercased(text::pathExtension(base));
    std::string suffix = "." + std::string(extension);
    if (inner == "tar" || inner == "cpio") {
        return {std::string(base.substr(0, base.size() - inner.size() - 1)), "." + inner + suffix};
    }
    return {std::string(base), std::move(suffix)};
}

std::string shortened(std::string_view name, std::size_t bytes) {
    if (name.size() <= bytes) {
        return std::string(name);
    }
    const std::string_view extension = text::pathExtension(name);
    const std::size_t suffix = keepsExtension(extension) ? extension.size() + 1 : 0;
    return joined(name.substr(0, name.size() - suffix), name.substr(name.size() - suffix), bytes);
}

std::string unique(std::string_view name, DuplicateNaming style,
                   const std::function<bool(const std::string&)>& taken, std::size_t reserve) {
    const std::size_t bytes = longest - std::min(reserve, longest / 2);
    std::string candidate = shortened(name, bytes);
    const StemAndExtension parts = partsToNumber(candidate, bytes);
    for (std::int64_t number = duplicateNaming::first(style); taken(candidate); ++number) {
        candidate = numbered(parts, style, number, bytes);
    }
    return candidate;
}

} // namespace fluvane::fileName
