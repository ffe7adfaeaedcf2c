// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Rules.h"
#include "FluvaneCore/WebPage.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <set>

using namespace fluvane;
using testing::ElementsAre;
using namespace support;

namespace {

Rule siteRule(std::string site, std::optional<std::string> folder, std::optional<int> connections) {
    return {site, Rule::Site{site}, std::move(folder), connections};
}

TEST(Rules, StoreWhatTheUserTyped) {
    const Rows<const char*, const char*> sites = {
        {"https://WWW.Example.com:8080/A?b", "example.com"},
        {" www.example.com\n", "example.com"},
        {"www.www.example.com", "www.example.com"},
        {"user:pw@example.com/x", "example.com"},
        {"ftp://files.example.com", "files.example.com"},
        {"Bücher.Example", "bücher.example"},
        {"[::1]:80", "[::1]"},
        {"no host here", "no host here"},
        {"http://", "http://"},
    };
    expectRows(sites, Rule::site);
    EXPECT_THAT(Rule::extensions("zip, .RAR; 7z zip"), ElementsAre("zip", "rar", "7z", "zip"));
    EXPECT_THAT(Rule::extensions("ÉPUB.e\u0301x/文"), ElementsAre("épub", "e\u0301x", "文"));
    EXPECT_THAT(Rule::extensions(" .,;\xFF "), ElementsAre());
}

TEST(Rules, FitFilesAndHosts) {
    const Rule video{"v", Rule::Kind{FileKind::video}, {}, {}};
    const Rule archives{"a", Rule::Kind{FileKind::archives}, {}, {}};
    const Rule list{"l", Rule::Extensions{{"7z", "", "bin"}}, {}, {}};
    const Rule site = siteRule("example.com", {}, {});
    const Rule unicode = siteRule("bücher.example", {}, {});
    const Rule punycode = siteRule("xn--bcher-kva.example", {}, {});
    struct Row {
        const char* name;
        const Rule& rule;
        const char* file;
        std::optional<std::string> host;
        bool fits;
    };
    const Row rows[] = {
        {"capitals", video, "Film.MKV", {}, true},
        {"other kind", video, "film.mp3", {}, false},
        {"last extension counts", archives, "a.tar.gz", {}, true},
        {"list", list, "a.BIN", {}, true},
        {"no extension on the list", list, "a", {}, false},
        {"host", site, "", "Example.COM", true},
        {"subdomain", site, "", "dl.cdn.example.com", true},
        {"look-alike", site, "", "badexample.com", false},
        {"longer name", site, "", "example.com.evil.org", false},
        {"another script", unicode, "", "dl.xn--bcher-kva.example", true},
        {"another script twice", unicode, "", "Bücher.example", true},
        {"its other form", punycode, "", "bücher.example", true},
        {"absent host", site, "", {}, false},
        {"empty site", siteRule("", {}, {}), "", "example.com", false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.rule.fits(row.file, row.host), row.fits) << row.name;
    }
}

TEST(Rules, ChooseTheFirstFolderAndTheStrictestLimit) {
    const std::vector<Rule> list = {
        siteRule("example.com", {}, 4),
        {"v", Rule::Kind{FileKind::video}, "~/Video", 1},
        siteRule("dl.example.com", "~/Site", 2),
    };
    EXPECT_EQ(rules::folderRule(list, "a.mp4", "dl.example.com"), &list[1]);
    EXPECT_EQ(rules::folderRule(list, "a.zip", "dl.example.com"), &list[2]);
    EXPECT_EQ(rules::folderRule(list, "a.zip", "example.com"), nullptr);
    EXPECT_EQ(rules::connections(list, "dl.example.com"), 2);
    EXPECT_EQ(rules::connections(list, "example.com"), 4);
    EXPECT_EQ(rules::connections(list, "other.org"), std::nullopt) << "only sites limit";
    EXPECT_EQ(rules::connections({list.rbegin(), list.rend()}, "dl.example.com"), 2);
}

TEST(FileKinds, AreFoundByNameAndExtension) {
    std::vector<std::string_view> seen;
    for (const FileKind kind : fileKind::all) {
        EXPECT_EQ(fileKind::from(fileKind::rawValue(kind)), kind);
        const auto extensions = fileKind::extensions(kind);
        seen.insert(seen.end(), extensions.begin(), extensions.end());
    }
    EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 69u);
    EXPECT_EQ(seen.size(), 69u) << "an extension in two kinds";
    EXPECT_FALSE(fileKind::from("Video") || fileKind::hasExtension(FileKind::video, "mp"));
}

TEST(WebPage, IsLikelyOnlyInPlaceOfAFile) {
    struct Row {
        std::optional<std::string> type;
        const char* file;
        std::optional<std::int64_t> size;
        bool likely;
    };
    const Row rows[] = {
        {"text/html; charset=utf-8", "report.pdf", {}, true},
        {" Application/XHTML+XML ", "report", 19'999'999, true},
        {"text/html", "report.pdf", 20'000'000, false},
        {"text/html", "index.HTML", {}, false},
        {"text/plain", "report.pdf", {}, false},
        {"text/htmlx", "report.pdf", {}, false},
        {std::nullopt, "report.pdf", {}, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(webPage::isLikely(row.type, row.file, row.size), row.likely)
            << row.type.value_or("-") << row.file;
    }
}

} // namespace
