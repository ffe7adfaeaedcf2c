// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/NewDownloadDraft.h"
#include "Support/Numbers.h"
#include "Support/Windows/WindowBench.h"

#include <QTest>

#include <gmock/gmock.h>

namespace fluvane::support {

using namespace testing;

namespace {

constexpr auto sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

Rule ruleTo(const char* id, Rule::Match match, const char* folder) {
    return {.id = id, .match = std::move(match), .folder = folder, .connections = {}};
}

/// A draft with a text that has been read, on a list of one paused and one queued download.
class Draft {
public:
    explicit Draft(const QString& text, Config config = {}) : bench(std::move(config)) {
        bench.engine.manager->start();
        const auto paused = bench.engine.add("http://a.example/paused.zip");
        bench.engine.manager->pause(paused);
        type(text);
    }
    void type(const QString& text) {
        draft.follow([text] { return text; });
        draft.edited();
        draft.read();
        EXPECT_TRUE(QTest::qWaitFor([&] { return !draft.isReading(); }));
    }
    [[nodiscard]] std::vector<std::string> marks() const {
        std::vector<std::string> all;
        for (std::size_t i = 0; i < draft.rows().size(); ++i) {
            all.push_back((draft.isWanted(i) ? "+ " : "- ") + draft.rows()[i].name + ": " + draft.mark(i));
        }
        return all;
    }

    WindowBench bench;
    NewDownloadDraft draft{*bench.engine.manager, bench.settings};
};

} // namespace

TEST(NewDownloadDraft, namesLinksAndMarksRepeatsAndWhatIsOnTheList) {
    Draft typed("http://a.example/new.zip http://a.example/paused.zip http://a.example/new.zip "
                "http://a.example/%D8%AA.pdf");
    EXPECT_THAT(typed.marks(), ElementsAre("+ new.zip: In the text 2 times",
                                           "- paused.zip: Already on the list: paused", "+ \u062A.pdf: "));

    typed.draft.setWanted(1, true);
    typed.draft.setWanted(2, false);
    typed.type("http://a.example/%D8%AA.pdf http://a.example/paused.zip");
    EXPECT_THAT(typed.marks(), ElementsAre("- \u062A.pdf: ", "+ paused.zip: Already on the list: paused"))
        << "A choice stays with its link.";

    typed.bench.engine.manager->remove(1_id);
    typed.draft.noticeList();
    EXPECT_EQ(typed.draft.mark(1), "");
}

TEST(NewDownloadDraft, objectsInSentences) {
    struct Case {
        const char* name;
        const char* text;
        const char* checksum;
        const char* referrer;
        const char* objection;
    };
    const std::vector<Case> cases = {
        {"nothing typed", " \n", "?", "?", ""},
        {"one link", "http://a.example/a", "", "", ""},
        {"no link", "a.zip", "", "", "There's no link in this text. Links begin with http:// or https://."},
        {"all on the list", "http://a.example/paused.zip", "", "",
         "This link is on the list already. Check it to download it again."},
        {"a checksum", "http://a.example/a", sha1, "", ""},
        {"no checksum", "http://a.example/a", "da39", "",
         "That isn't a checksum Fluvane knows: give a SHA-256, SHA-1 or MD5."},
        {"a checksum for several", "http://a.example/[1-2]", sha1, "",
         "A checksum goes with one link at a time."},
        {"a checksum for the one that isn't on the list", "http://a.example/a http://a.example/paused.zip",
         sha1, "", ""},
        {"a referrer", "http://a.example/a", "", " https://b.example/ ", ""},
        {"no referrer", "http://a.example/a", "", "b.example",
         "A referrer is the web page that the link is on: it begins with http:// or https://."},
        {"a file as referrer", "http://a.example/a", "", "file:///etc/passwd",
         "A referrer is the web page that the link is on: it begins with http:// or https://."},
    };
    for (const auto& [name, text, checksum, referrer, objection] : cases) {
        Draft typed(text);
        typed.draft.setChecksum(checksum);
        typed.draft.setReferrer(referrer);
        EXPECT_EQ(typed.draft.objection(), objection) << name;
        EXPECT_EQ(typed.draft.isReady(), *objection == '\0' && typed.draft.wanted() > 0) << name;
        EXPECT_EQ(typed.draft.add().empty(), !(*objection == '\0' && name != cases[0].name)) << name;
    }
}

TEST(NewDownloadDraft, tellsWhatRangesMake) {
    const std::vector<std::pair<QString, std::string>> rows = {
        {"http://a.example/a",
         "For files in a series, put the numbers in brackets: part[01-20].zip is part01.zip to part20.zip."},
        {"http://a.example/[1-20]", "That range makes 20 links."},
        {"http://a.example/[1-5000]", "That range makes 1000 links, the most at once."},
        {"http://a.example/[1-20] http://b.example/[1-3]", "Those ranges make 23 links in all."},
    };
    for (const auto& [text, note] : rows) {
        EXPECT_EQ(Draft(text).draft.rangeNote(), note);
    }
}

TEST(NewDownloadDraft, saysWhereTheFilesGo) {
    Config config;
    config.folder = "/files";
    config.rules = {ruleTo("1", Rule::Kind{FileKind::video}, "/films"),
                    ruleTo("2", Rule::Site{"c.example"}, "/c")};
    const std::vector<std::pair<QString, std::string>> rows = {
        {"", ""},
        {"http://a.example/a.zip", "It goes to /files."},
        {"http://a.example/[1-3].mkv", "They go to /films."},
        {"http://a.example/[1-3].mkv http://a.example/a", "3 go to /films, 1 to /files."},
        {"http://a.example/a.mkv http://a.example/b http://c.example/c http://c.example/d",
         "2 go to /c, 1 to /films, 1 to other folders."},
    };
    for (const auto& [text, words] : rows) {
        EXPECT_EQ(Draft(text, config).draft.destination(), words);
    }
    Draft chosen("http://a.example/[1-3].mkv", config);
    chosen.draft.setFolder(URL::folder("/else"));
    EXPECT_EQ(chosen.draft.destination(), "They go to /else.");
}

TEST(NewDownloadDraft, addsWhatIsWanted) {
    Draft typed("http://a.example/a http://a.example/b http://a.example/c");
    typed.draft.setWanted(1, false);
    typed.draft.setReferrer("https://page.example/");
    typed.draft.setReferrer({link("http://a.example/c")}, link("https://other.example/"));
    typed.draft.setFolder(URL::folder("/chosen"));
    ASSERT_THAT(typed.draft.add(), ElementsAre(2_id, 3_id));
    const auto& first = typed.bench.engine.record(2_id);
    EXPECT_EQ(first.url, link("http://a.example/a"));
    EXPECT_EQ(first.folder, URL::folder("/chosen"));
    EXPECT_EQ(first.referrer, link("https://page.example/"));
    EXPECT_FALSE(first.autoFolder.value_or(false)) << "Rules must not overrule a chosen folder.";
    EXPECT_EQ(typed.bench.engine.record(3_id).referrer, link("https://other.example/"));
    EXPECT_TRUE(typed.draft.rows().empty());

    typed.type("http://a.example/d");
    typed.draft.setChecksum(std::string("SHA1 (d) = ") + sha1);
    EXPECT_EQ(typed.draft.algorithm(), "SHA-1");
    ASSERT_THAT(typed.draft.add(), ElementsAre(4_id));
    EXPECT_EQ(typed.bench.engine.record(4_id).checksum, Checksum(Checksum::Algorithm::sha1, sha1));
    EXPECT_TRUE(typed.bench.engine.record(4_id).autoFolder.value_or(false));
    EXPECT_EQ(typed.bench.engine.record(4_id).referrer, std::nullopt) << "The earlier one must be forgotten.";
}

} // namespace fluvane::support
