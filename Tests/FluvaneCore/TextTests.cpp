// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

#include <string>

using namespace fluvane;
using namespace support;

namespace {

TEST(Text, ReplacesBrokenSequencesAndKeepsTheRest) {
    const NamedRows<std::string, std::string> rows = {
        {"all lengths", "aé€😀", "aé€😀"},
        {"beyond it", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"overlong", "\xC0\xAF", "\uFFFD\uFFFD"},
        {"surrogate", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"cut short is one", "x\xF0\x9F\x98y", "x\uFFFDy"},
        {"stray continuation", "\x80z", "\uFFFDz"},
    };
    for (const auto& [name, bytes, repaired] : rows) {
        EXPECT_EQ(text::repaired(bytes), repaired) << name;
        EXPECT_EQ(text::isValid(bytes), bytes == repaired) << name;
    }
}

TEST(Text, TrimsUnicodeWhiteSpace) {
    const Rows<const char*, const char*> rows = {
        {"\u3000\u00A0 \t\r\n\u2028\u0085a b\u2003\n", "a b"},
        {"\u200Ba", "\u200Ba"}, // a zero-width space is no white space
        {" \u2003 ", ""},
    };
    expectRows(rows, text::trimmed);
    EXPECT_EQ(text::trimmedKeepingNewlines("\u3000 \t\na\n \t"), "\na\n");
}

TEST(Text, FindsTheExtensionOfAName) {
    const Rows<const char*, const char*> rows = {
        {"a.tar.GZ", "GZ"}, {"README", ""}, {".bashrc", ""},       {"ends.", ""},
        {"..", ""},         {"Dr. No", ""}, {"folder.d/file", ""}, {"a/b.c", "c"},
    };
    expectRows(rows, text::pathExtension);
}

} // namespace
