// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Series of links, and the numbers in commands.

#include "FluvaneCore/NumberedRange.h"
#include "FluvaneCore/Text.h"
#include "Fuzz/Fuzz.h"
#include <cmath>

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {"part[001-3].zip http://[::1]/a[08-11]\u3000b\n[1-2",
                                  "a[1-20]b[9-1][1-40]\xFF", "[999999999-999999998]",
                                  "[[1-2]] [1-[3-4] [1-999999999]", "-1.5e3"};

void fuzz::check(std::string_view input) {
    const auto words = numberedRange::expandWord(input);
    require(!words.empty() && words.size() <= numberedRange::limit, "a word makes 1 to 1000");
    for (const auto& word : words) {
        require(word.size() <= input.size(), "a number is shorter than its range");
    }
    const auto expanded = numberedRange::expand(input);
    require(expanded.size() <= numberedRange::textBytes + 2 * input.size(), "expansions are bounded");
    require(input.find('[') != std::string_view::npos || expanded == input, "no range, no change");
    require(std::isfinite(text::decimalNumber(input).value_or(0)), "a number is one");
    const auto number = text::wholeNumber(input);
    require(!number || text::wholeNumber(std::to_string(*number)) == number, "a whole number reads back");
}
