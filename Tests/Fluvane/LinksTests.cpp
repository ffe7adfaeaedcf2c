// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/LinkDetector.h"
#include "Fluvane/Links/Links.h"
#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace fluvane;

namespace {

/// With blanks between.
std::string joined(const std::vector<URL>& links) {
    std::string result;
    for (const URL& url : links) {
        result += (result.empty() ? "" : " ") + url.absoluteString();
    }
    return result;
}

TEST(Links, AreFoundInAnyText) {
    const support::Rows<std::string, std::string> rows = {
        {"(see https://h.org/a.zip).", "https://h.org/a.zip"},
        {"https://h.org/Film_(2001) and (https://h.org/Film_(2002))",
         "https://h.org/Film_(2001) https://h.org/Film_(2002)"},
        {"<https://h.org/a.zip|the file>", "https://h.org/a.zip"},
        {"https://h.org/long... https://h.org/more…", "https://h.org/long https://h.org/more"},
        {"lib.so/a, main.cc/b, setup.zip/c, no.such/d, a.test/e", ""},
        {"me@example.com/x, mailto:a@www.h.org?body=http://h.org/x, <b@h.org>", ""},
        {"and/or, 1.5/2, w.r.t./x, src/main.rs/x, a.tar.gz/b, Fluvane.app/Contents, HTTP/1.1", ""},
        {"http://bücher.example/ä und президент.рф/файл",
         "http://bücher.example/%C3%A4 http://президент.рф/%D1%84%D0%B0%D0%B9%D0%BB"},
        {"\uFEFFhttps://h.org/a\u200B\u200Ehttps://h.org/b\u00A0x", "https://h.org/a https://h.org/b"},
        {"192.168.1.10:8080/a 127.0.0.1/b 10.0.0.0/8 1.2.3.4/ 300.1.1.1/x 1.2.3.4.5/x",
         "http://192.168.1.10:8080/a http://127.0.0.1/b"},
        {"http://[::1]:80/a, (http://[2001:db8::1]/b)", "http://[::1]:80/a http://[2001:db8::1]/b"},
        {"http://$HOST/a http://<host>/b http://{host}/c", ""},
        {"**https://h.org/a** _https://h.org/b_c_ `https://h.org/d`",
         "https://h.org/a https://h.org/b_c https://h.org/d"},
        {"<a class=x href=\"https://h.org/?a=1&amp;b=2&#38;c=3\">here</a>", "https://h.org/?a=1&b=2&c=3"},
        {"<img srcset=\"https://h.org/1?a&amp;b 1x, https://h.org/2 2x\">",
         "https://h.org/1?a&b https://h.org/2"},
        {R"({"a":"https://h.org/a\u0026b","c":["http:\/\/h.org\/c","https://h.org/d\n"]})",
         "https://h.org/a&b http://h.org/c https://h.org/d"},
        {"تحميل: https://h.org/ملف.zip، ثم https://h.org/b؛ نعم",
         "https://h.org/%D9%85%D9%84%D9%81.zip https://h.org/b"},
        {"\u2066https://h.org/a\u2069 \u202Awww.h.org/b\u202C", "https://h.org/a http://www.h.org/b"},
        {"https://h.org/p[1-2].zip https://h.org/p2.zip", "https://h.org/p1.zip https://h.org/p2.zip"},
        {std::string("https://h.org/a\0https://h.org/b", 31), "https://h.org/a https://h.org/b"},
    };
    support::expectRows(rows, [](const auto& text) { return joined(links::find(text)); });
}

TEST(Links, OfOtherKindsAreCounted) {
    std::string told;
    for (const auto& [name, count] :
         links::findOthers("Ftp://h/a (ftp://h/b) xftp://h sftp://h/\nmagnet:?xt=1 http://h/")) {
        told += std::string(name) + " " + std::to_string(count) + ", ";
    }
    EXPECT_EQ(told, "ftp 2, sftp 1, magnet 1, ");
}

TEST(Links, TakeTimeInProportion) {
    // Each would take minutes if any step looked at the whole rest again.
    const std::string pieces[] = {
        "www.看", "<a",    "http", "http://", "a.",  "看www.a.com", ")",  "https://h.org/)", "(",
        "a://",   "[1-2]", "= ",   "=41",     "=\n", "{{",          "[(", "http://h.org/a[", ": "};
    for (const std::string& piece : pieces) {
        std::string text;
        while (text.size() < 400'000) {
            text += piece;
        }
        EXPECT_LE(links::detect(text).size(), text.size() / piece.size()) << piece;
        EXPECT_LE(links::detect("http://h.org/" + text).size(), text.size() / piece.size() + 1) << piece;
    }
}

TEST(LinksInFiles, AreFoundUpToTheLongestFile) {
    const support::TemporaryFolder folder;
    const auto count = [&](const std::string& contents) {
        support::writeFile(folder / "links.txt", contents);
        return links::findInFile(folder / "links.txt").size();
    };
    const std::string link = "https://h.org/p[1-2]\n";
    EXPECT_EQ(count("\xEF\xBB\xBF" + link + "\xFFhttps://h.org/p1"), 2U);
    EXPECT_EQ(count(link + std::string(links::longestFile - link.size(), ' ')), 2U);
    EXPECT_EQ(count(link + std::string(links::longestFile - link.size() + 1, ' ')), 0U);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::filesystem::path& none :
         {folder / "pipe", folder.path(), folder / "missing", std::filesystem::path("/dev/zero"), {}}) {
        EXPECT_TRUE(links::findInFile(none).empty()) << none << " never blocks";
    }
}

TEST(LinksOnThePasteboard, AreURLsThenFilesThenText) {
    const support::TemporaryFolder folder;
    support::writeFile(folder / "a b%20ü.txt", "https://h.org/3[1-2]");
    const std::string file = URL::file((folder / "a b%20ü.txt").string()).absoluteString();
    const auto found = links::findOn(
        {.urls = {file, "ftp://h.org/x", "www.h.org", "HTTP://h.org/[1-2]"}, .text = "see www.h.org/4"});
    EXPECT_EQ(joined(found), "https://h.org/31 https://h.org/32 HTTP://h.org/[1-2] http://www.h.org/4");
}

} // namespace
