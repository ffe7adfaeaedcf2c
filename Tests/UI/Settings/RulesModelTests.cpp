// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RuleDraft.h"
#include "Fluvane/UI/Models/RulesModel.h"

#include <gmock/gmock.h>

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
    } rows[] = {{0, 1, 2, true, "bacd"},
                {3, 1, 0, true, "dabc"},
                {1, 1, 2, false, "abcd"},
                {-1, 1, 2, false, "abcd"},
                {0, 1, 5, false, "abcd"}};
    for (const auto& row : rows) {
        RulesModel model(folderOf);
        model.setRules(someRules());
        EXPECT_EQ(model.moveRows({}, row.from, row.count, {}, row.before), row.moved);
        EXPECT_EQ(order(model), row.order) << row.from << " before " << row.before;
    }
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
        {"no endings",
         {.matches = Matches::extensions, .extensions = " , .", .folder = "/x"},
         Field::extensions},
        {"no host", {.matches = Matches::site, .site = "two words", .folder = "/x"}, Field::site},
        {"a site and nothing else", {.matches = Matches::site, .site = "example.com"}, Field::folder},
        {"a limit", {.matches = Matches::site, .site = "example.com", .connections = 1}, {}},
        {"another script", {.matches = Matches::site, .site = "bücher.example", .folder = "/x"}, {}},
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
}

} // namespace

} // namespace fluvane
