// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/FileName.h"

#include "Support/Rows.h"

#include <set>
#include <string>
#include <tuple>

using namespace fluvane;
using namespace support;

namespace {

const std::string family = "👨‍👩‍👧‍👦"; // 25 bytes

TEST(FileName, CleansWhatComesFromOutside) {
    const NamedRows<std::string, std::optional<std::string>> rows = {
        {"way up", "../../etc/passwd", "-..-etc-passwd"},
        {"drive and backslashes", "C:\\a\\b.txt", "C--a-b.txt"},
        {"controls", std::string("a\0b\nc\x7F\u0085", 8) + "d", "a b c  d"},
        {"hidden behind a dot and a blank", ". .hidden", "hidden"},
        {"direction, zero width, tags", "\u202E\u2028a\u200Fgpj\u2066\u200B.e\U000E0041x\uFEFFe", "agpj.exe"},
        {"only what isn't seen", "\u200B.\u2060.\u061C", {}},
        {"joiners that join nothing", "\u200Cre\u200Dad\u0301\u200C.me", "read\u0301.me"},
        {"joiners of scripts", "\u0645\u06CC\u200C\u0634\u0648\u062F \u0915\u094D\u200D\u0937",
         "\u0645\u06CC\u200C\u0634\u0648\u062F \u0915\u094D\u200D\u0937"},
        {"joiners of emoji", family, family},
        {"invalid bytes", "caf\xE9.txt", "caf\uFFFD.txt"},
        {"too long", repeated("a", 300) + ".zip", repeated("a", 251) + ".zip"},
        {"too many marks", "e" + repeated("\u0301", 400), "e" + repeated("\u0301", 127)},
    };
    expectRows(rows, fileName::clean);
}

TEST(FileName, SuggestsANameFromHeaderLinkAndType) {
    const fileName::TypeRegistry registry = [](const std::string& type) -> std::optional<std::string> {
        return type == "text/html" ? std::optional<std::string>("html") : std::nullopt;
    };
    using Text = std::optional<std::string>;
    const std::string full = repeated("a", 255);
    const std::tuple<const char*, Text, std::string, Text, std::string> rows[] = {
        {"header first", "attachment; filename=\"x/y.zip\"", "http://h/a.iso", {}, "x-y.zip"},
        {"unusable header", "attachment; filename=\"...\"", "http://h/a.iso", {}, "a.iso"},
        {"escapes", {}, "http://h/d/My%20File%2Fa.zip?x=y.txt", {}, "My File-a.zip"},
        {"escapes decoded once", {}, "http://h/100%2525.zip", {}, "100%25.zip"},
        {"no UTF-8 in the link", {}, "http://h/%E9.zip", {}, "download"},
        {"slash at the end", {}, "http://h/a/", " Text/HTML; charset=utf-8", "download.html"},
        {"type only where none is", {}, "http://h/a.php", "text/html", "a.php"},
        {"extension added to a full name", {}, "http://h/" + full, "text/html", full.substr(5) + ".html"},
    };
    for (const auto& [name, disposition, link, type, suggested] : rows) {
        EXPECT_EQ(fileName::suggested(disposition, *URL::parse(link), type, registry), suggested) << name;
    }
}

TEST(FileName, FindsTheFirstFreeName) {
    using enum DuplicateNaming;
    const std::tuple<DuplicateNaming, std::string, std::set<std::string>, std::string> rows[] = {
        {spaceParentheses, "a.txt", {}, "a.txt"},
        {spaceParentheses, "a.tar.gz", {"a.tar.gz", "a (1).tar.gz"}, "a (2).tar.gz"},
        {parentheses, "a", {"a"}, "a(1)"},
        {hyphen, "a.txt", {"a.txt"}, "a-1.txt"},
        {underscore, "a.txt", {"a.txt"}, "a_1.txt"},
        {spaceNumber, "a.txt", {"a.txt", "a 2.txt"}, "a 3.txt"},
    };
    for (const auto& [style, name, taken, free] : rows) {
        const auto isTaken = [&all = taken](const auto& one) { return all.contains(one); };
        EXPECT_EQ(fileName::unique(name, style, isTaken), free);
        EXPECT_EQ(duplicateNaming::from(duplicateNaming::rawValue(style)), style);
    }
    const auto free = [](const std::string&) { return false; };
    EXPECT_EQ(fileName::unique(repeated("a", 244) + ".zip", {}, free, 8), repeated("a", 243) + ".zip");
    const auto full = repeated("é", 130) + ".zip";
    const auto taken = [asked = 0](auto&) mutable { return asked++ < 1500; };
    EXPECT_EQ(fileName::unique(full, spaceParentheses, taken, 1000), repeated("é", 58) + " (1500).zip");
}

} // namespace
