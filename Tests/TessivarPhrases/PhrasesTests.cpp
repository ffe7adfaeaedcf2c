// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarPhrases/Language.h"
#include "TessivarPhrases/Phrases.h"
#include "TessivarPhrases/PluralRule.h"
#include "TessivarPhrases/SystemErrors.h"

#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <set>

namespace tessivar {
namespace {

using Variables = std::map<std::string, std::string>;

FindVariable in(const Variables& variables) {
    return [variables](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    };
}

class Phrases : public testing::Test {
protected:
    static void speak(const std::string& language) {
        setLanguage(readLanguage(in({{"LANG", "xx.UTF-8"}, {"LANGUAGE", language}}), {FLUVANE_CATALOGUES},
                                 "fluvane"));
        ASSERT_EQ(tessivar::language().name, language);
    }
    ~Phrases() override { setLanguage({}); }
};

TEST(PluralRule, ChoosesForms) {
    const std::string arabic =
        "n==0 ? 0 : n==1 ? 1 : n==2 ? 2 : n%100>=3 && n%100<=10 ? 3 : n%100>=11 ? 4 : 5";
    struct Row {
        std::string rule;
        std::uint64_t count;
        std::uint64_t form;
    };
    const Row rows[] = {
        {arabic, 0, 0},
        {arabic, 2, 2},
        {arabic, 103, 3},
        {arabic, 11, 4},
        {arabic, 100, 5},
        {"(n != 1)", 1, 0},
        {"n-1*2 == 3", 5, 1},
        {"n/0 + n%0", 7, 0},
        {"n ==", 1, 0},
        {"1 2", 1, 0},
        {std::string(1000, '('), 1, 0},
    };
    for (const auto& [rule, count, form] : rows) {
        EXPECT_EQ(pluralForm(rule, count), form) << rule << " for " << count;
    }
}

TEST(Language, IsWhatTheEnvironmentWants) {
    using testing::ElementsAre;
    EXPECT_THAT(wantedLanguages(in({{"LANG", "de_AT.UTF-8@euro"}})), ElementsAre("de_AT", "de"));
    EXPECT_THAT(wantedLanguages(in({{"LANG", "de_DE"}, {"LC_MESSAGES", "ar"}, {"LC_ALL", ""}})),
                ElementsAre("ar"));
    EXPECT_THAT(wantedLanguages(in({{"LANG", "de"}, {"LANGUAGE", "ar:../x:en_GB:fr"}})), ElementsAre("ar"));
    EXPECT_THAT(wantedLanguages(in({{"LC_ALL", "C"}, {"LANGUAGE", "de"}})), ElementsAre());
    EXPECT_THAT(wantedLanguages(in({{"LANGUAGE", "de"}})), ElementsAre());
}

TEST_F(Phrases, TakeTheFormOfTheirCount) {
    EXPECT_EQ(phrases("%1 connection", "%1 connections", 1), "1 connection");
    speak("de");
    EXPECT_EQ(phrases("%1 connection", "%1 connections", 2), "2 Verbindungen");
    EXPECT_EQ(decimalMark() + digitGroupMark(), ",.");
    speak("ar");
    std::set<std::string> forms;
    for (const int count : {0, 1, 2, 3, 11, 100}) {
        forms.insert(phrases("%1 connection", "%1 connections", count));
    }
    EXPECT_EQ(forms.size(), 6u);
    const InEnglish english;
    EXPECT_EQ(phrases("%1 connection", "%1 connections", 3), "3 connections");
}

TEST_F(Phrases, IsolateTextsFromRightToLeft) {
    EXPECT_EQ(phrase("%2 of %1", "a%1", 3), "3 of a%1");
    speak("ar");
    EXPECT_THAT(phrase("in %1", "/f (1)"), testing::HasSubstr("\u2068/f (1)\u2069"));
    EXPECT_THAT(phrases("%1 connection", "%1 connections", 5), testing::Not(testing::HasSubstr("\u2068")));
}

TEST_F(Phrases, FindWhatWasKeptInEnglish) {
    speak("de");
    std::size_t count = 0;
    language().catalogue->each("kept", [&count](std::string_view text, std::string_view) {
        const auto stored = kept("kept", text, "a.example (1)", "Permission denied");
        const auto shown = keptShown("kept", stored);
        EXPECT_EQ(shown, phraseIn("kept", text, "a.example (1)", phraseIn("kept", "Permission denied")))
            << stored;
        EXPECT_NE(shown, stored);
        ++count;
    });
    EXPECT_GT(count, 50u);
    EXPECT_EQ(keptShown("kept", "Something of another release."), "Something of another release.");
}

TEST(SystemErrors, AreTheSystemsWords) {
    std::set<std::string> words;
    for (int code = 1; code < 140; ++code) {
        words.insert(std::strerror(code));
    }
    for (const auto* const text : systemErrors) {
        EXPECT_TRUE(words.contains(text)) << text;
    }
}

} // namespace
} // namespace tessivar
