// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/FileName.h"
#include "FluvaneCore/Text.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>

using namespace fluvane;
using namespace support;

namespace {

const std::string family = "👨‍👩‍👧‍👦"; // 25 bytes

TEST(FileName, CleansWhatComesFromOutside) {
    const NamedRows<std::string, std::optional<std::string>> rows = {
        {"way up", "../../etc/passwd", "-..-etc-passwd"},
        {"drive and backslashes", "C:\\a\\b.txt", "C--a-b.txt"},
        {"controls", std::string("a\0b\nc\x7F\u0085", 8) + "d", "a b c  d"},
        {"hidden behind blanks", " \u3000.hidden", "hidden"},
        {"dots behind blanks", ". ..", {}},
        {"hidden behind a dot and a blank", ". .hidden", "hidden"},
        {"blank behind the dot", ". name ", "name"},
        {"three dots", "...", {}},
        {"blanks", " \t\n", {}},
        {"invalid bytes", "caf\xE9.txt", "caf\uFFFD.txt"},
        {"emoji stays whole", "👩‍👩‍👧.png", "👩‍👩‍👧.png"},
        {"too long", repeated("a", 300) + ".zip", repeated("a", 251) + ".zip"},
        {"too many marks", "e" + repeated("\u0301", 400), "e" + repeated("\u0301", 127)},
    };
    expectRows(rows, fileName::clean);
}

TEST(FileName, CutsLongNamesByWholeCharacters) {
    struct Row {
        const char* name;
        std::string given;
        std::size_t bytes;
        std::string cut;
    };
    const auto extension = [](int letters) { return "." + repeated("x", letters); };
    const Row rows[] = {
        {"fits exactly", repeated("a", 251) + ".zip", 255, repeated("a", 251) + ".zip"},
        {"extension kept", repeated("a", 300) + extension(20), 255, repeated("a", 234) + extension(20)},
        {"too long for one", repeated("a", 225) + extension(55), 255, repeated("a", 225) + extension(29)},
        {"two-byte letters", repeated("é", 200) + ".iso", 255, repeated("é", 125) + ".iso"},
        {"no character cut in two", repeated(family, 11) + ".zip", 255, repeated(family, 10) + ".zip"},
        {"room for less than the extension", "abcdef.zip", 3, "abc"},
        {"no room", "abcdef.zip", 0, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(fileName::shortened(row.given, row.bytes), row.cut) << row.name;
    }
}

TEST(FileName, SplitsStemAndExtension) {
    const Rows<const char*, fileName::StemAndExtension> rows = {
        {"a.zip", {"a", ".zip"}},
        {"Backup.TAR.GZ", {"Backup", ".tar.GZ"}},
        {"root.cpio.xz", {"root", ".cpio.xz"}},
        {"a.b.gz", {"a.b", ".gz"}},
        {"tar.gz", {"tar", ".gz"}},
        {".tar.gz", {".tar", ".gz"}},
        {"README", {"README", ""}},
    };
    expectRows(rows, fileName::split);
}

TEST(FileName, SuggestsANameFromHeaderLinkAndType) {
    const fileName::TypeRegistry registry = [](const std::string& type) -> std::optional<std::string> {
        static const std::map<std::string, std::string> known = {{"text/html", "html"},
                                                                 {"application/octet-stream", "bin"}};
        const auto entry = known.find(type);
        return entry == known.end() ? std::nullopt : std::optional(entry->second);
    };
    struct Row {
        const char* name;
        std::optional<std::string> disposition;
        std::string link;
        std::optional<std::string> type;
        std::string suggested;
    };
    const std::string full = repeated("a", 255);
    const Row rows[] = {
        {"header first", "attachment; filename=\"x/y.zip\"", "http://h/a.iso", {}, "x-y.zip"},
        {"unusable header", "attachment; filename=\"...\"", "http://h/a.iso", {}, "a.iso"},
        {"escapes", {}, "http://h/d/My%20File%2Fa.zip?x=y.txt", {}, "My File-a.zip"},
        {"escapes decoded once", {}, "http://h/100%2525.zip", {}, "100%25.zip"},
        {"no UTF-8 in the link", {}, "http://h/%E9.zip", {}, "download"},
        {"slash at the end", {}, "http://h/a/", " Text/HTML; charset=utf-8", "download.html"},
        {"no path", {}, "http://h", {}, "download"},
        {"way up", {}, "http://h/%2e%2e", {}, "download"},
        {"type only where none is", {}, "http://h/a.php", "text/html", "a.php"},
        {"plain bytes", {}, "http://h/a", "Application/Octet-Stream", "a"},
        {"unknown type", {}, "http://h/a", "x/y", "a"},
        {"extension added to a full name", {}, "http://h/" + full, "text/html", full.substr(5) + ".html"},
    };
    for (const Row& row : rows) {
        const auto link = URL::parse(row.link).value();
        EXPECT_EQ(fileName::suggested(row.disposition, link, row.type, registry), row.suggested) << row.name;
    }
    EXPECT_EQ(fileName::suggested({}, *URL::parse("http://h/a"), "text/html"), "a") << "without a registry";
}

TEST(FileName, FindsTheFirstFreeName) {
    using enum DuplicateNaming;
    struct Row {
        DuplicateNaming style;
        std::string name;
        std::set<std::string> taken;
        std::string free;
    };
    const Row rows[] = {
        {spaceParentheses, "a.txt", {}, "a.txt"},
        {spaceParentheses, "a.tar.gz", {"a.tar.gz", "a (1).tar.gz"}, "a (2).tar.gz"},
        {parentheses, "a", {"a"}, "a(1)"},
        {hyphen, "a.txt", {"a.txt"}, "a-1.txt"},
        {underscore, "a.txt", {"a.txt"}, "a_1.txt"},
        {spaceNumber, "a.txt", {"a.txt", "a 2.txt"}, "a 3.txt"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(fileName::unique(row.name, row.style, [&](const auto& n) { return row.taken.contains(n); }),
                  row.free);
        EXPECT_EQ(duplicateNaming::from(duplicateNaming::rawValue(row.style)), row.style);
    }
    EXPECT_EQ(duplicateNaming::example(spaceNumber, "report.pdf"), "report 2.pdf");
    EXPECT_FALSE(duplicateNaming::from("Hyphen"));
}

TEST(FileName, KeepsRoomForTheNumberAndTheReserve) {
    const std::string names[] = {
        repeated("a", 251) + ".zip",    repeated("a", 240) + ".zip",
        repeated("é", 130) + ".tar.gz", repeated(family, 10) + ".iso",
        "a." + repeated("x", 253),      repeated("a", 220) + ".tar." + repeated("x", 20),
        "e" + repeated("\u0301", 130),
    };
    for (const std::string& name : names) {
        for (const std::size_t reserve : {0u, 8u, 127u, 1000u}) {
            int asked = 0;
            const std::string last = fileName::unique(
                name, DuplicateNaming::spaceParentheses, [&](const std::string&) { return asked++ < 1500; },
                reserve);
            EXPECT_LE(last.size() + std::min<std::size_t>(reserve, 127), 255u) << name;
            EXPECT_THAT(last, testing::HasSubstr(" (1500)"));
            EXPECT_TRUE(text::isValid(last)) << last;
            EXPECT_FALSE(last.starts_with(' ')) << "a stem is left";
        }
    }
    const auto free = [](const std::string&) { return false; };
    EXPECT_EQ(fileName::unique(repeated("a", 243) + ".zip", {}, free, 8), repeated("a", 243) + ".zip");
    EXPECT_EQ(fileName::unique(repeated("a", 244) + ".zip", {}, free, 8), repeated("a", 243) + ".zip");
}

} // namespace
