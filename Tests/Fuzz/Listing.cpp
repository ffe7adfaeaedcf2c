// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The list that an application sends, on its way into a terminal.

#include "FluvaneCore/Words.h"
#include "FluvaneWatch/Layout.h"
#include "FluvaneWatch/Phrases.h"
#include "Fuzz/Fuzz.h"
#include <algorithm>
#include <iterator>

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"([{"id":1,"name":"\u001b[31m\u202egpj.exe 文件 👩‍👩‍👧‍👦","state":"downloading","downloaded":10,"size":40,"connections":3,
"bytesPerSecond":9223372036854775807},{"id":2,"name":"b","state":"finished","file":"/f/\u009b2J","checksum":"sha1:ab",
"checksumMatches":false},{"id":-9,"state":"failed","reason":"No.\r"},{"id":4,"state":"thawing\u2028","placeInLine":3}])",
    R"([{"id":1,"state":"queued","size":9223372036854775807,"downloaded":9223372036854775807,"placeInLine":-1}])"};

void fuzz::check(std::string_view input) {
    const auto rows = watch::parseListing(input);
    if (!rows) {
        return;
    }
    const watch::Style style{
        .width = 30 + input.size() % 120, .height = 1 + input.size() % 13, .unicode = input.size() % 2 == 1};
    const auto lines = watch::layout(*rows, style);
    require(lines.size() < std::max<std::size_t>(style.height, 3), "the picture fits the height");
    for (const auto& line : lines) {
        // With more than ASCII a name from right to left is between marks that keep the rest out of it.
        require(style.unicode || words::oneLine(line.text) == line.text, "a line can't act upon a terminal");
        require(watch::columns(line.text) <= line.width && line.width < style.width, "a line fits the width");
    }
    watch::Watch all({});
    all.update(*rows, 0);
    all.update({}, 100);
    auto sentences = all.problems();
    std::ranges::transform(*rows, std::back_inserter(sentences), watch::plainLine);
    for (const auto& sentence : sentences) {
        require(words::oneLine(sentence) == sentence, "a sentence is a line");
    }
}
