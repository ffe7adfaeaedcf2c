// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RuleDraft.h"
#include "Fluvane/UI/Models/RuleTrial.h"
#include "Fluvane/UI/Models/RulesModel.h"
#include "FluvaneCore/SpeedLimit.h"
#include "Support/Rows.h"

#include <QSignalSpy>

#include <gmock/gmock.h>

#include <limits>

namespace fluvane {

namespace {

URL folderOf(const std::optional<std::string>& path) {
    return URL::folder(path.value_or("/downloads"));
}

Rule rule(const std::string& id, Rule::Match match, std::optional<std::string> folder = {},
          std::optional<int> connections = {}) {
    return {id, std::move(match), std::move(folder), connections};
}

std::vector<Rule> someRules() {
    return {rule("a", Rule::Kind{FileKind::video}, "/videos"),
            rule("b", Rule::Extensions{{"zip", "rar"}}, "/zips"),
            rule("c", Rule::Site{"example.com"}, std::nullopt, 2),
            rule("d", Rule::Site{"example.org"}, "/org", 1)};
}

std::string order(const RulesModel& model) {
    std::string ids;
    for (const auto& each : model.rules()) {
        ids += each.id;
    }
    return ids;
}

TEST(RulesModel, movesRowsAsViewsAskFor) {
    const struct {
        int from, count, before;
        bool moved;
        const char* order;
    } rows[] = {{0, 1, 2, true, "bacd"},  {3, 1, 0, true, "dabc"},  {0, 2, 4, true, "cdab"},
                {1, 1, 1, false, "abcd"}, {1, 1, 2, false, "abcd"}, {-1, 1, 2, false, "abcd"},
                {0, 1, 5, false, "abcd"}, {3, 2, 0, false, "abcd"}};
    for (const auto& row : rows) {
        RulesModel model(folderOf);
        model.setRules(someRules());
        EXPECT_EQ(model.moveRows({}, row.from, row.count, {}, row.before), row.moved);
        EXPECT_EQ(order(model), row.order) << row.from << " before " << row.before;
    }
}

TEST(RulesModel, keepsRowsInPlaceWhenOnlyTheirContentsChange) {
    RulesModel model(folderOf);
    model.setRules(someRules());
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    auto rules = someRules();
    model.setRules(rules);
    rules[1].folder = "/elsewhere";
    model.setRules(rules);
    EXPECT_EQ(changes.size(), 1);
    EXPECT_EQ(resets.size(), 0);
    rules.erase(rules.begin());
    model.setRules(rules);
    EXPECT_EQ(resets.size(), 1);
    EXPECT_EQ(model.rowOf("d"), 2);
    EXPECT_EQ(model.rowOf("a"), -1);
}

TEST(RuleDraft, refusesWhatWouldDoNothing) {
    using Matches = RuleDraft::Matches;
    using Field = RuleDraft::Field;
    const struct {
        const char* name;
        RuleDraft draft;
        std::optional<Field> incomplete;
    } rows[] = {
        {"a kind without a folder", {}, Field::folder},
        {"a kind whose connections don't count", {.connections = 2}, Field::folder},
        {"no endings",
         {.matches = Matches::extensions, .extensions = " , .", .folder = "/x"},
         Field::extensions},
        {"no site", {.matches = Matches::site, .site = " ", .folder = "/x"}, Field::site},
        {"no host", {.matches = Matches::site, .site = "two words", .folder = "/x"}, Field::site},
        {"a site and nothing else", {.matches = Matches::site, .site = "example.com"}, Field::folder},
        {"a limit", {.matches = Matches::site, .site = "example.com", .connections = 1}, {}},
        {"an address", {.matches = Matches::site, .site = "[::1]", .connections = 1}, {}},
        {"another script", {.matches = Matches::site, .site = "bücher.example", .folder = "/x"}, {}},
        {"a folder", {.folder = "/x"}, {}},
    };
    for (const auto& [name, draft, incomplete] : rows) {
        const auto problem = draft.problem();
        EXPECT_EQ(problem ? std::optional(problem->field) : std::nullopt, incomplete) << name;
    }
}

TEST(RuleDraft, holdsWhatWasTypedAsRulesHaveIt) {
    for (const auto& each : someRules()) {
        EXPECT_EQ(RuleDraft::of(each).rule(each.id), each);
    }
    RuleDraft draft{
        .matches = RuleDraft::Matches::site, .site = " https://www.Example.com:8080/a ", .connections = 3};
    EXPECT_EQ(draft.rule("x"), rule("x", Rule::Site{"example.com"}, {}, 3));
    draft.matches = RuleDraft::Matches::extensions;
    draft.extensions = "zip, .RAR; 7z";
    EXPECT_EQ(draft.rule("x"), rule("x", Rule::Extensions{{"zip", "rar", "7z"}}));
    EXPECT_EQ(RuleDraft::shownExtensions(draft.extensions), "zip, rar, 7z");
}

TEST(RuleTrial, tellsWhichRuleDecides) {
    Config config;
    config.rules = someRules();
    const support::Rows<std::string, std::string> rows = {
        {"Film.MKV", "a: Film.MKV goes to /videos, by the rule \"Video\". | "},
        {" notes.txt ", ": notes.txt goes to /downloads: no rule chooses a folder for it. | "},
        {"https://dl.example.com/film.mkv?x=1", "a: film.mkv goes to /videos, by the rule \"Video\". | "
                                                "dl.example.com gets at most 2 connections, by a "
                                                "rule."},
        {"http://example.org/a%20b",
         "d: a b goes to /org, by the rule \"Everything from example.org\". | example.org gets at most 1 "
         "connection, by a rule."},
        {"http://other.example/",
         ": download goes to /downloads: no rule chooses a folder for it. | other.example gets up to 8 "
         "connections: no rule limits it."},
        {"ftp://example.com/x",
         ": That link can't be downloaded: give one that begins with http:// or https://. | "},
        {"   ", ":  | "},
    };
    support::expectRows(rows, [&](const std::string& typed) {
        const auto trial = RuleTrial::of(typed, config, folderOf);
        return trial.id + ": " + trial.folder + " | " + trial.site;
    });
}

TEST(SpeedLimit, writesWhatItReads) {
    for (const std::int64_t limit :
         {std::int64_t{16'000}, std::int64_t{500'000}, std::int64_t{1'234'567}, std::int64_t{4'035},
          std::int64_t{100'000'000}, std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_EQ(speedLimit::parsed(speedLimit::typed(limit)), limit);
    }
    EXPECT_EQ(speedLimit::typed(500'000), "0.5");
    EXPECT_EQ(speedLimit::typed(5'000'000), "5");
}

} // namespace

} // namespace fluvane
