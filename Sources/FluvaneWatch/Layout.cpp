// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Layout.h"

#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "FluvaneWatch/Phrases.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <cmath>

namespace fluvane::watch {

namespace {

constexpr char32_t emojiStyle = 0xFE0F;
constexpr std::string_view isolate = "\u2068";
constexpr std::string_view endIsolate = "\u2069";

enum class Colour { none, running, good, waiting, bad };

std::size_t scalarColumns(char32_t scalar) {
    const auto value = static_cast<utf8proc_int32_t>(scalar);
    if (utf8proc_category(value) == UTF8PROC_CATEGORY_CN) {
        return 2; // newer than our tables: likely an emoji
    }
    constexpr char32_t softHyphen = 0xAD;
    return scalar == softHyphen ? 1 : static_cast<std::size_t>(std::max(utf8proc_charwidth(value), 0));
}

// The sum of its parts: a terminal that can't join an emoji shows them one after another.
std::size_t characterColumns(std::string_view character) {
    const auto scalars = text::scalars(character);
    std::size_t sum = 0;
    for (const auto scalar : scalars) {
        sum += scalarColumns(scalar);
    }
    return scalars.find(emojiStyle) == std::u32string::npos ? sum : std::max<std::size_t>(sum, 2);
}

bool isRightToLeft(std::string_view name) {
    return std::ranges::any_of(text::scalars(name), [](char32_t scalar) {
        const auto direction = utf8proc_get_property(static_cast<utf8proc_int32_t>(scalar))->bidi_class;
        return direction == UTF8PROC_BIDI_CLASS_R || direction == UTF8PROC_BIDI_CLASS_AL;
    });
}

template <class Characters>
std::string head(const Characters& characters, std::size_t width) {
    std::string kept;
    for (std::string_view character : characters) {
        const auto wide = characterColumns(character);
        if (wide > width) {
            break;
        }
        width -= wide;
        kept += character;
    }
    return kept;
}

std::string tailOf(const std::vector<std::string_view>& characters, std::size_t width) {
    std::size_t begin = characters.size();
    while (begin > 0 && characterColumns(characters[begin - 1]) <= width) {
        width -= characterColumns(characters[--begin]);
    }
    std::string kept;
    for (; begin < characters.size(); begin++) {
        kept += characters[begin];
    }
    return kept;
}

Colour colourOf(const Row& row) {
    const auto kind = row.kind();
    if (kind == StateKind::finished) {
        return row.checksumMatches.value_or(true) ? Colour::good : Colour::bad;
    }
    if (row.isRemoved() || (kind && needsAttention(*kind))) {
        return Colour::bad;
    }
    return kind && runs(*kind) ? Colour::running : Colour::waiting;
}

std::string_view sequence(Colour colour) {
    switch (colour) {
    case Colour::running:
        return "\033[36m";
    case Colour::good:
        return "\033[32m";
    case Colour::waiting:
        return "\033[33m";
    case Colour::bad:
        return "\033[31m";
    case Colour::none:
        break;
    }
    return {};
}

std::string_view ellipsis(const Style& style) {
    return style.unicode ? "…" : "...";
}

/// Puts one download's lines together.
class Block {
public:
    Block(const Row& row, std::size_t margin, const Style& style)
        : row_(row), margin_(margin), style_(style),
          width_(style.width > margin + 3 ? style.width - margin - 3 : 1) {
        addTitle();
        addBar();
        addFigures();
    }

    std::vector<Line> lines;

private:
    std::string paint(std::string_view text, Colour colour) const {
        return style_.colour && colour != Colour::none ? fmt::format("{}{}\033[0m", sequence(colour), text)
                                                       : std::string(text);
    }
    std::string cutTo(std::string_view text, const Room& room) const {
        return cut(text, room, ellipsis(style_));
    }
    /// The number or nothing, right-aligned, before the text.
    void add(std::string_view number, std::string text, std::size_t wide) {
        lines.push_back({fmt::format("{:>{}}  {}", number, margin_, text), margin_ + 2 + wide});
    }

    void addTitle() {
        const auto words = stateWords(row_);
        const auto beside = columns(words) + 2;
        wordsBeside_ = beside * 2 <= width_;
        const auto room = wordsBeside_ ? width_ - beside : width_;
        std::string name = cutTo(printable(row_.name), {.width = room, .tail = room / 3});
        const auto wide = columns(name);
        if (style_.unicode && isRightToLeft(name)) {
            name = fmt::format("{}{}{}", isolate, name, endIsolate);
        }
        if (!wordsBeside_) {
            add(std::to_string(number(row_.id)), name, wide);
            return;
        }
        const std::string gap(room - wide + 2, ' ');
        add(std::to_string(number(row_.id)), name + gap + paint(words, colourOf(row_)), width_);
    }

    void addBar() {
        const auto done = fraction(row_);
        const auto kind = row_.kind();
        if (!done || kind == StateKind::finished || kind == StateKind::queued || row_.isRemoved()) {
            return;
        }
        const auto percent = fmt::format("{:>5}", words::percent(*done));
        constexpr std::size_t shortest = 5;
        const auto beside = columns(percent) + 2;
        if (width_ < beside + shortest) {
            const auto kept = cutTo(percent, {.width = width_});
            add("", kept, columns(kept));
            return;
        }
        const auto cells = width_ - beside;
        add("", bar(*done, cells) + "  " + percent, width_);
    }

    std::string bar(double done, std::size_t cells) const {
        const auto full = static_cast<std::size_t>(std::floor(done * static_cast<double>(cells)));
        std::string filled;
        std::string empty;
        for (std::size_t cell = 0; cell < cells; cell++) {
            (cell < full ? filled : empty) +=
                style_.unicode ? (cell < full ? "█" : "░") : (cell < full ? "#" : "-");
        }
        return paint(filled, colourOf(row_)) + empty;
    }

    void addFigures() {
        const std::string separator =
            style_.unicode ? " · " : tessivar::phraseIn("between items of a list", ", ");
        auto parts = figures(row_);
        if (!wordsBeside_) {
            parts.insert(parts.begin(), stateWords(row_));
        }
        while (parts.size() > 1 && columns(fmt::format("{}", fmt::join(parts, separator))) > width_ &&
               row_.kind() == StateKind::downloading) {
            parts.pop_back();
        }
        if (!parts.empty()) {
            // The end of a finished file's path says more than its middle.
            const auto tail = row_.kind() == StateKind::finished ? width_ / 3 : 0;
            const auto text =
                cutTo(fmt::format("{}", fmt::join(parts, separator)), {.width = width_, .tail = tail});
            add("", text, columns(text));
        }
    }

    const Row& row_;
    std::size_t margin_; ///< Cells of the number.
    const Style& style_;
    std::size_t width_; ///< Cells right of the number.
    bool wordsBeside_ = true;
};

std::vector<Line> withinHeight(const std::vector<Row>& rows, std::vector<Block>& blocks, std::size_t height,
                               const Style& style) {
    std::vector<std::size_t> order(rows.size());
    for (std::size_t index = 0; index < order.size(); index++) {
        order[index] = index;
    }
    std::stable_partition(order.begin(), order.end(),
                          [&](std::size_t index) { return colourOf(rows[index]) == Colour::running; });
    std::vector<Line> lines;
    std::size_t shown = 0;
    for (const auto index : order) {
        if (lines.size() + blocks[index].lines.size() + 1 > height) {
            break;
        }
        std::ranges::move(blocks[index].lines, std::back_inserter(lines));
        shown++;
    }
    auto rest = cut(tessivar::phrases("and %1 more", "and %1 more", rows.size() - shown),
                    {.width = std::max<std::size_t>(style.width, 1) - 1}, ellipsis(style));
    const auto wide = columns(rest);
    lines.push_back({std::move(rest), wide});
    return lines;
}

} // namespace

std::size_t columns(std::string_view text) {
    std::size_t sum = 0;
    for (const auto character : text::characters(text)) {
        sum += characterColumns(character);
    }
    return sum;
}

std::string cut(std::string_view text, const Room& room, std::string_view ellipsis) {
    if (columns(text) <= room.width) {
        return std::string(text);
    }
    const auto characters = text::characters(text);
    const auto mark = head(text::characters(ellipsis), room.width);
    const auto rest = room.width - columns(mark);
    const auto end = tailOf(characters, std::min(room.tail, rest));
    return head(characters, rest - columns(end)).append(mark).append(end);
}

std::vector<Line> layout(const std::vector<Row>& rows, const Style& style) {
    std::size_t margin = 1;
    for (const auto& row : rows) {
        margin = std::max(margin, std::to_string(number(row.id)).size());
    }
    std::vector<Block> blocks;
    blocks.reserve(rows.size());
    std::size_t total = 0;
    for (const auto& row : rows) {
        total += blocks.emplace_back(row, margin, style).lines.size();
    }
    const auto height = std::max<std::size_t>(style.height, 3) - 1;
    if (total > height) {
        return withinHeight(rows, blocks, height, style);
    }
    std::vector<Line> lines;
    for (auto& block : blocks) {
        std::ranges::move(block.lines, std::back_inserter(lines));
    }
    return lines;
}

} // namespace fluvane::watch
