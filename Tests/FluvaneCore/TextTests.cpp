// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Text.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <clocale>
#include <string>

using namespace fluvane;
using testing::ElementsAre;
using namespace support;

namespace {

TEST(Text, ReplacesBrokenSequencesAndKeepsTheRest) {
    struct Row {
        const char* name;
        std::string bytes;
        const char* repaired;
        bool valid;
    };
    const Row rows[] = {
        {"ASCII", "abc", "abc", true},
        {"all lengths", "aé€😀", "aé€😀", true},
        {"highest scalar", "\xF4\x8F\xBF\xBF", "\U0010FFFF", true},
        {"beyond it", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD", false},
        {"overlong", "\xC0\xAF", "\uFFFD\uFFFD", false},
        {"surrogate", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD", false},
        {"cut short is one", "x\xF0\x9F\x98y", "x\uFFFDy", false},
        {"cut at the end", "x\xE2\x82", "x\uFFFD", false},
        {"stray continuation", "\x80z", "\uFFFDz", false},
        {"NUL is text", std::string("a\0b", 3), nullptr, true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(text::repaired(row.bytes), row.repaired ? row.repaired : row.bytes) << row.name;
        EXPECT_EQ(text::isValid(row.bytes), row.valid) << row.name;
    }
    EXPECT_EQ(text::utf8(text::scalars("a\u0301€😀")), "a\u0301€😀");
    EXPECT_EQ(text::utf8(std::u32string{0xD800, 0x110000}), "\uFFFD\uFFFD");
}

TEST(Text, CountsCharactersAsAReaderDoes) {
    const std::pair<std::string, std::size_t> rows[] = {
        {"", 0},
        {"abc", 3},
        {"e\u0301\u0323x", 2},
        {"👩‍👩‍👧‍👦!", 2},
        {"🇩🇪🇫🇷", 2},
        {"\r\n", 1},
        {"각", 1},
        {"a\xFF\xFE", 3},
        {"👍🏽👍", 2},
    };
    for (const auto& [word, count] : rows) {
        const auto characters = text::characters(word);
        EXPECT_EQ(characters.size(), count) << word;
        std::string joined;
        for (const std::string_view character : characters) {
            joined += character;
        }
        EXPECT_EQ(joined, word);
    }
}

TEST(Text, TrimsUnicodeWhiteSpace) {
    EXPECT_EQ(text::trimmed("\u3000\u00A0 \t\r\n\u2028\u0085a b\u2003\n"), "a b");
    EXPECT_EQ(text::trimmed("\u200Ba"), "\u200Ba") << "a zero-width space is no white space";
    EXPECT_EQ(text::trimmed(" \xFF "), "\xFF");
    EXPECT_EQ(text::trimmed("\x80 "), "\x80");
    EXPECT_EQ(text::trimmed(" \u2003 "), "");
    EXPECT_EQ(text::trimmedKeepingNewlines("\u3000 \t\na\n \t"), "\na\n");
}

TEST(Text, KnowsKindsOfScalars) {
    for (const char32_t control : {0x00u, 0x1Fu, 0x7Fu, 0x80u, 0x9Fu}) {
        EXPECT_TRUE(text::isControl(control)) << std::hex << static_cast<unsigned>(control);
    }
    EXPECT_FALSE(text::isControl(U' ') || text::isControl(0xA0) || text::isControl(0x200D));
    EXPECT_TRUE(text::isLetterOrDigit(U'ß') && text::isLetterOrDigit(U'٣') && text::isLetterOrDigit(U'文'));
    EXPECT_FALSE(text::isLetterOrDigit(U'_') || text::isLetterOrDigit(U'²') || text::isLetterOrDigit(U'€'));
    EXPECT_EQ(text::lowercased("ÀÉßΣЖ\xFFZ"), "àéßσж\xFFz");
    EXPECT_TRUE(text::equalIgnoringASCIICase("HTTP[", "http["));
    EXPECT_FALSE(text::equalIgnoringASCIICase("http[", "http{") || text::equalIgnoringASCIICase("a", "ab"));
}

TEST(Text, DecodesEscapesOnce) {
    EXPECT_EQ(text::percentDecoded("a%2520b+%C3%a9"), "a%20b+é");
    for (const char* broken : {"%", "a%4", "%zz", "%+1", "%FF", "%C3"}) {
        EXPECT_FALSE(text::percentDecoded(broken)) << broken;
    }
    EXPECT_EQ(text::percentDecodedBytes("%FF"), "\xFF");
}

TEST(Text, ReadsNumbersWholeOrNotAtAll) {
    const Rows<const char*, std::optional<std::int64_t>> whole = {
        {"0", 0},   {"+7", 7},  {"-7", -7},  {"007", 7},  {"9223372036854775807", INT64_MAX},
        {"", {}},   {"+", {}},  {"+-7", {}}, {"--7", {}}, {"9223372036854775808", {}},
        {" 7", {}}, {"7 ", {}}, {"7.0", {}}, {"0x7", {}}, {"٣", {}},
    };
    expectRows(whole, text::wholeNumber);
    const std::pair<const char*, std::optional<double>> decimal[] = {
        {"0.5", 0.5},   {"+.5", 0.5},  {"5.", 5.0}, {"-1e3", -1000.0}, {"", {}},
        {"0,5", {}},    {"5MB", {}},   {"inf", {}}, {"-Infinity", {}}, {"nan", {}},
        {"NaN(1)", {}}, {"1e999", {}}, {"+-5", {}}, {" 5", {}},
    };
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // where it exists, the comma there must change nothing
    for (const auto& [word, value] : decimal) {
        EXPECT_EQ(text::decimalNumber(word), value) << word;
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(Text, FindsTheExtensionOfAName) {
    const Rows<const char*, const char*> rows = {
        {"a.zip", "zip"},      {"a.tar.GZ", "GZ"}, {"README", ""}, {".bashrc", ""},    {".a.txt", "txt"},
        {"ends.", ""},         {"", ""},           {".", ""},      {"..", ""},         {"Dr. No", ""},
        {"folder.d/file", ""}, {"a/.hidden", ""},  {"a/b.c", "c"}, {"a.b\u3000c", ""},
    };
    expectRows(rows, text::pathExtension);
}

} // namespace
