// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Rules.h"
#include "FluvaneCore/WebPage.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <tuple>

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
        {"user:pw@example.com/x", "example.com"},
        {"Bücher.Example", "bücher.example"},
        {"[::1]:80", "[::1]"},
    };
    expectRows(sites, Rule::site);
    EXPECT_THAT(Rule::extensions("zip, .RAR; 7z zip"), ElementsAre("zip", "rar", "7z", "zip"));
}

TEST(Rules, FitFilesAndHosts) {
    const Rule list{"l", Rule::Extensions{{"7z", "", "bin"}}, {}, {}};
    const Rule site = siteRule("example.com", {}, {});
    const Rule unicode = siteRule("bücher.example", {}, {});
    const std::tuple<const char*, Rule, const char*, const char*, bool> rows[] = {
        {"list", list, "a.BIN", "", true},
        {"subdomain", site, "", "dl.cdn.Example.com", true},
        {"look-alike", site, "", "badexample.com", false},
        {"another script", unicode, "", "dl.xn--bcher-kva.example", true},
        {"empty site", siteRule("", {}, {}), "", "example.com", false},
    };
    for (const auto& [name, rule, file, host, fits] : rows) {
        EXPECT_EQ(rule.fits(file, host), fits) << name;
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
    EXPECT_EQ(rules::connections(list, "dl.example.com"), 2);
    EXPECT_EQ(rules::connections(list, "other.org"), std::nullopt) << "only sites limit";
}

TEST(WebPage, IsLikelyOnlyInPlaceOfAFile) {
    EXPECT_TRUE(webPage::isLikely("text/html; charset=utf-8", "report.pdf", {}));
    EXPECT_FALSE(webPage::isLikely("text/html", "report.pdf", 20'000'000));
    EXPECT_FALSE(webPage::isLikely("text/html", "index.HTML", {}));
}

} // namespace
