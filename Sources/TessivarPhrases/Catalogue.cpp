// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarPhrases/Catalogue.h"

#include "TessivarPhrases/Phrases.h"
#include "TessivarPhrases/PluralRule.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace tessivar {

namespace {

constexpr std::uint32_t magic = 0x950412de;
constexpr std::size_t largest = 16'000'000; ///< Bytes; ours have some hundred thousand.
constexpr char afterContext = '\x04';

std::string_view upTo(std::string_view text, char end) {
    return text.substr(0, text.find(end));
}

/// What follows "name:" or "name=" in the head.
std::string_view field(std::string_view head, std::string_view name, char end) {
    const auto at = head.find(name);
    return at == std::string_view::npos ? std::string_view() : upTo(head.substr(at + name.size()), end);
}

struct InContext {
    std::string_view context;
    std::string_view text;
};

std::string keyOf(const InContext& what) {
    std::string key(what.context);
    if (!what.context.empty()) {
        key += afterContext;
    }
    return key.append(what.text);
}

} // namespace

std::shared_ptr<const Catalogue> Catalogue::read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::shared_ptr<Catalogue> catalogue(new Catalogue);
    catalogue->bytes_.assign(std::istreambuf_iterator<char>(file), {});
    constexpr std::size_t head = 20;
    // What msgfmt makes here, of this machine's byte order.
    if (catalogue->bytes_.size() < head || catalogue->bytes_.size() > largest ||
        catalogue->number(0) != magic) {
        return nullptr;
    }
    catalogue->count_ = catalogue->number(8);
    catalogue->originals_ = catalogue->number(12);
    catalogue->translations_ = catalogue->number(16);
    const auto table = catalogue->count_ * 8;
    if (table + std::max(catalogue->originals_, catalogue->translations_) > catalogue->bytes_.size()) {
        return nullptr;
    }
    const auto about = catalogue->translationOf("").value_or("");
    catalogue->pluralRule_ = field(about, "plural=", ';');
    // Translators: "right to left" where the language is written so; nothing else than these.
    const auto* const direction = markedIn("direction of the script", "left to right");
    catalogue->isRightToLeft_ = catalogue->find("direction of the script", direction) == "right to left";
    return catalogue;
}

std::uint32_t Catalogue::number(std::size_t at) const {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes_.data() + at, sizeof value);
    return value;
}

std::string_view Catalogue::textAt(std::size_t table, std::size_t index) const {
    const std::size_t length = number(table + index * 8);
    const std::size_t from = number(table + index * 8 + 4);
    return from + length <= bytes_.size() ? std::string_view(bytes_).substr(from, length)
                                          : std::string_view();
}

/// The number of the first text that doesn't come before the key. A text with a plural has both, with a NUL
/// between.
std::size_t Catalogue::firstFrom(std::string_view key) const {
    std::size_t from = 0;
    std::size_t count = count_;
    while (count > 0) {
        const auto half = count / 2;
        if (upTo(original(from + half), '\0') < key) {
            from += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return from;
}

std::optional<std::string_view> Catalogue::translationOf(std::string_view key) const {
    const auto index = firstFrom(key);
    if (index == count_ || upTo(original(index), '\0') != key) {
        return std::nullopt;
    }
    const auto translation = textAt(translations_, index);
    return translation.empty() ? std::nullopt : std::optional(translation);
}

std::optional<std::string_view> Catalogue::find(std::string_view context, std::string_view text) const {
    // The empty text has the catalogue's head for a translation.
    const auto found = text.empty() ? std::nullopt : translationOf(keyOf({context, text}));
    return found ? std::optional(upTo(*found, '\0')) : std::nullopt;
}

std::optional<std::string_view> Catalogue::find(std::string_view one, std::int64_t count) const {
    auto forms = translationOf(one);
    if (!forms) {
        return std::nullopt;
    }
    for (auto form = pluralForm(pluralRule_, static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0)));
         form > 0; --form) {
        const auto end = forms->find('\0');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        forms->remove_prefix(end + 1);
    }
    return upTo(*forms, '\0');
}

void Catalogue::each(std::string_view context,
                     const std::function<void(std::string_view, std::string_view)>& visit) const {
    const std::string begin = keyOf({context, ""});
    for (auto index = firstFrom(begin); index < count_ && original(index).starts_with(begin); ++index) {
        visit(original(index).substr(begin.size()), textAt(translations_, index));
    }
}

} // namespace tessivar
