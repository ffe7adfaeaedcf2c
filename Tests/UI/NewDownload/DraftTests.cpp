// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/NewDownloadDraft.h"
#include "Support/Windows/WindowBench.h"

#include <QTest>

#include <gmock/gmock.h>

namespace fluvane::support {

using namespace testing;

namespace {

constexpr auto sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

/// A draft with a text that has been read, on a list of one paused download.
class Draft {
public:
    explicit Draft(const QString& text) {
        bench.engine.manager->start();
        bench.engine.manager->pause(bench.engine.add("http://a.example/paused.zip"));
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
}

TEST(NewDownloadDraft, addsNothingWhileItObjects) {
    const struct {
        const char* name;
        const char* text;
        const char* checksum;
        const char* referrer;
        bool objects;
        std::size_t adds;
    } cases[] = {
        {"nothing typed", " \n", "?", "?", false, 0},
        {"one link", "http://a.example/a", "", "", false, 1},
        {"no link", "a.zip", "", "", true, 0},
        {"all on the list", "http://a.example/paused.zip", "", "", true, 0},
        {"no checksum", "http://a.example/a", "da39", "", true, 0},
        {"a checksum for several", "http://a.example/[1-2]", sha1, "", true, 0},
        {"a checksum for the one that isn't on the list", "http://a.example/a http://a.example/paused.zip",
         sha1, "", false, 1},
        {"a file as referrer", "http://a.example/a", "", "file:///etc/passwd", true, 0},
    };
    for (const auto& [name, text, checksum, referrer, objects, adds] : cases) {
        Draft typed(text);
        typed.draft.setChecksum(checksum);
        typed.draft.setReferrer(referrer);
        EXPECT_EQ(!typed.draft.objection().empty(), objects) << name << ": " << typed.draft.objection();
        EXPECT_EQ(typed.draft.isReady(), adds > 0) << name;
        EXPECT_EQ(typed.draft.add().size(), adds) << name;
    }
}

TEST(NewDownloadDraft, addsWhatIsWanted) {
    Draft typed("http://a.example/a http://a.example/b http://a.example/c");
    const auto& engine = typed.bench.engine;
    typed.draft.setWanted(1, false);
    typed.draft.setReferrer("https://page.example/");
    typed.draft.setReferrer({link("http://a.example/c"), link("http://a.example/d")},
                            link("https://other.example/"));
    typed.draft.setFolder(URL::folder("/chosen"));
    ASSERT_THAT(typed.draft.add(), ElementsAre(2_id, 3_id));
    EXPECT_EQ(engine.record(2_id).url, link("http://a.example/a"));
    EXPECT_EQ(engine.record(2_id).folder, URL::folder("/chosen"));
    EXPECT_EQ(engine.record(2_id).referrer, link("https://page.example/"));
    EXPECT_FALSE(engine.record(2_id).autoFolder.value_or(false))
        << "Rules must not overrule a chosen folder.";
    EXPECT_EQ(engine.record(3_id).referrer, link("https://other.example/"));
    typed.type("http://a.example/d");
    typed.draft.setChecksum(std::string("SHA1 (d) = ") + sha1);
    ASSERT_THAT(typed.draft.add(), ElementsAre(4_id));
    EXPECT_EQ(engine.record(4_id).checksum, Checksum(Checksum::Algorithm::sha1, sha1));
    EXPECT_TRUE(engine.record(4_id).autoFolder.value_or(false));
    EXPECT_EQ(engine.record(4_id).referrer, std::nullopt) << "The earlier one must be forgotten.";
}

} // namespace fluvane::support
