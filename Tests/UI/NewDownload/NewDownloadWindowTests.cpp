// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/DroppedData.h"
#include "Fluvane/UI/Models/NewDownloadDraft.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "Fluvane/UI/NewDownload/LinksEdit.h"
#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QMimeData>

namespace fluvane::support {

using namespace testing;

namespace {

class NewDownloadTest : public Test {
protected:
    NewDownloadTest() {
        QGuiApplication::clipboard()->clear();
        bench.engine.manager->start();
        activate(window);
    }
    QString text() { return edit.toPlainText(); }
    std::string rows() {
        std::string names;
        const auto& model = *list.model();
        for (int i = 0; i < model.rowCount(); ++i) {
            names += (i ? " " : "") + model.index(i, 0).data().toString().toStdString();
        }
        return names;
    }
    [[nodiscard]] bool shows(const std::string& wanted) {
        return QTest::qWaitFor([&] { return rows() == wanted && download.isEnabled(); });
    }
    void type(const QString& typed) { QTest::keyClicks(&edit, typed); }
    void press(Qt::Key key, Qt::KeyboardModifiers with = {}) { QTest::keyClick(&edit, key, with); }
    static void copy(const QString& copied) { QGuiApplication::clipboard()->setText(copied); }
    [[nodiscard]] std::size_t downloads() const { return bench.engine.manager->downloads().size(); }

    /// Has the draft read a text, on a list of one paused download.
    void read(const QString& given) {
        if (downloads() == 0) {
            bench.engine.manager->pause(bench.engine.add("http://a.example/paused.zip"));
        }
        draft.follow([given] { return given; });
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

    TemporaryFolder folder;
    WindowBench bench;
    NewDownloadDraft draft{*bench.engine.manager, bench.settings};
    RecentFolders recent{folder / "recent.json"};
    NewDownloadWindow window{bench.context, recent};
    QPlainTextEdit& edit = part<QPlainTextEdit>(window, "links");
    QListView& list = part<QListView>(window, "found-links");
    QPushButton& download = part<QPushButton>(window, "download");
    QPushButton& offer = part<QPushButton>(window, "add-clipboard");
};

constexpr auto sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

} // namespace

TEST_F(NewDownloadTest, downloadsWhatIsTypedOnceTheUserSaysSo) {
    type("see http://a.example/part[1-3].zip");
    ASSERT_TRUE(shows("part1.zip part2.zip part3.zip"));
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Space);
    EXPECT_EQ(download.text(), "&Download 2 Files");
    EXPECT_EQ(downloads(), 0U);
    press(Qt::Key_Return);
    ASSERT_EQ(downloads(), 2U);
    EXPECT_EQ(bench.engine.record(2_id).url, link("http://a.example/part3.zip"));
    EXPECT_TRUE(bench.engine.record(2_id).autoFolder.value_or(false));
    EXPECT_FALSE(window.isVisible());
    EXPECT_THAT(bench.windows.asked, ElementsAre("added 1 2"));
    EXPECT_EQ(text(), "");
}

TEST_F(NewDownloadTest, downloadsAllOfATextPastedAMomentAgo) {
    type("http://a.example/a");
    ASSERT_TRUE(shows("a"));
    copy("\nhttp://a.example/b");
    press(Qt::Key_V, Qt::ControlModifier);
    press(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return downloads() == 2; }));
}

TEST_F(NewDownloadTest, keepsWhatWasTypedWhenItIsClosed) {
    type("http://a.example/a");
    press(Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
    window.fill({link("http://a.example/b"), link("http://a.example/a")}, std::nullopt);
    window.show();
    EXPECT_TRUE(shows("a b"));
    EXPECT_EQ(text(), "http://a.example/a\nhttp://a.example/b");
    EXPECT_EQ(downloads(), 0U);
}

TEST_F(NewDownloadTest, takesTheClipboardIntoAnEmptyTextOnly) {
    copy("http://a.example/a");
    window.offerClipboard();
    ASSERT_TRUE(shows("a"));
    type("http://a.example/typed");
    ASSERT_TRUE(shows("typed")) << "Typing replaces what was taken.";
    copy("http://a.example/c http://a.example/typed");
    window.offerClipboard();
    ASSERT_TRUE(QTest::qWaitFor([&] { return offer.isVisible(); }));
    EXPECT_EQ(text(), "http://a.example/typed");
    QTest::mouseClick(&offer, Qt::LeftButton);
    EXPECT_TRUE(shows("typed c"));
    EXPECT_FALSE(offer.isVisible());
}

TEST_F(NewDownloadTest, takesFolderReferrerAndChecksum) {
    window.fill({link("http://a.example/a")}, link("https://page.example/"));
    ASSERT_TRUE(shows("a"));
    const auto actions = window.actions();
    (*std::ranges::find(actions, "Choose Folder…", &QAction::text))->trigger();
    chooseFile(window.findChild<QFileDialog*>(), folder.path().c_str());
    auto& referrer = part<QLineEdit>(window, "referrer");
    EXPECT_EQ(referrer.text(), "https://page.example/");
    referrer.setText("file:///page");
    EXPECT_FALSE(download.isEnabled());
    referrer.setText("https://page.example/b");
    typeAndEnter(part<QLineEdit>(window, "checksum"), sha1);
    ASSERT_EQ(downloads(), 1U);
    const auto& record = bench.engine.record(1_id);
    EXPECT_EQ(record.referrer, link("https://page.example/b"));
    EXPECT_EQ(record.checksum, Checksum(Checksum::Algorithm::sha1, sha1));
    EXPECT_EQ(record.folder, URL::folder(folder.path().string()));
    EXPECT_FALSE(record.autoFolder.value_or(false)) << "Rules must not overrule a chosen folder.";
    EXPECT_THAT(recent.folders(), ElementsAre(record.folder));
    EXPECT_FALSE(part<FolderChoice>(window, "folder").folder()) << "The next one goes by the settings.";
}

TEST_F(NewDownloadTest, namesLinksAndMarksRepeatsAndWhatIsOnTheList) {
    read("http://a.example/new.zip http://a.example/paused.zip http://a.example/new.zip "
         "http://a.example/%D8%AA.pdf");
    EXPECT_THAT(marks(), ElementsAre("+ new.zip: In the text 2 times",
                                     "- paused.zip: Already on the list: paused", "+ \u062A.pdf: "));
    draft.setWanted(1, true);
    draft.setWanted(2, false);
    read("http://a.example/%D8%AA.pdf http://a.example/paused.zip");
    EXPECT_THAT(marks(), ElementsAre("- \u062A.pdf: ", "+ paused.zip: Already on the list: paused"))
        << "A choice stays with its link.";
}

TEST_F(NewDownloadTest, asksForTheFileOfASingleLinkAndKeepsTheUsersNameForIt) {
    const auto& asked = bench.engine.transport->transfers;
    type("http://a.example/get?id=[1-2]");
    ASSERT_TRUE(shows("get get"));
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Space);
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked.size() == 1; })) << "one is left";
    EXPECT_TRUE(asked[0]->request.headOnly);
    EXPECT_EQ(asked[0]->request.url, link("http://a.example/get?id=1"));
    asked[0]->respond(403);
    ASSERT_EQ(asked.size(), 2U) << "It may be signed for fetching alone.";
    asked[1]->respondPart(629'100'000, {{"Content-Disposition", "attachment; filename=server.iso"}});
    EXPECT_TRUE(asked[1]->isOver());
    EXPECT_TRUE(said(window, "about").starts_with("629.1 MB")) << said(window, "about");
    EXPECT_EQ(said(window, "name"), "server.iso");
    typeInto(part<QLineEdit>(window, "name"), "../my:file.iso");
    EXPECT_TRUE(said(window, "about").starts_with("Saved as “-my-file.iso”."));
    QTest::keyClick(&part<QLineEdit>(window, "name"), Qt::Key_Return);
    ASSERT_EQ(downloads(), 1U);
    EXPECT_EQ(bench.engine.record(1_id).name, "-my-file.iso");
}

TEST_F(NewDownloadTest, asksNoServerOnceNobodyLooksOrWhereItMustNot) {
    auto& asked = bench.engine.transport->transfers;
    type("http://a.example/a");
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked.size() == 1; }));
    window.close();
    EXPECT_TRUE(asked[0]->isOver());
    bench.engine.manager->setLimitedNetwork(LimitedNetwork::hotspot);
    const auto none = [](const auto& /*outcome*/) {};
    EXPECT_FALSE(bench.engine.manager->inquire({.link = link("http://a.example/a")}, none));
    bench.engine.manager->setLimitedNetwork(std::nullopt);
    EXPECT_TRUE(bench.engine.manager->inquire({.link = link("http://a.example/a")}, none));
}

TEST_F(NewDownloadTest, addsNothingWhileItObjects) {
    const std::tuple<const char*, const char*, const char*, std::size_t> cases[] = {
        {"one link", "http://a.example/one", "", 1},
        {"no link", "a.zip", "", 0},
        {"all on the list", "http://a.example/paused.zip", "", 0},
        {"no checksum", "http://a.example/a", "da39", 0},
        {"a checksum for several", "http://a.example/[1-2]", sha1, 0},
        {"a checksum for the one that isn't on the list", "http://a.example/new http://a.example/paused.zip",
         sha1, 1},
    };
    for (const auto& [name, text, checksum, adds] : cases) {
        read(text);
        draft.setChecksum(checksum);
        EXPECT_EQ(draft.objection().empty(), adds > 0) << name << ": " << draft.objection();
        EXPECT_EQ(draft.isReady(), adds > 0) << name;
        EXPECT_EQ(draft.add().size(), adds) << name;
    }
}

TEST_F(NewDownloadTest, givesEachLinkItsOwnReferrerOrThatOfAll) {
    read("http://a.example/a http://a.example/c");
    const auto& engine = bench.engine;
    draft.setReferrer("https://page.example/");
    draft.setReferrer({link("http://a.example/c"), link("http://a.example/d")},
                      link("https://other.example/"));
    ASSERT_THAT(draft.add(), ElementsAre(2_id, 3_id));
    EXPECT_EQ(engine.record(2_id).referrer, link("https://page.example/"));
    EXPECT_EQ(engine.record(3_id).referrer, link("https://other.example/"));
    read("http://a.example/d");
    ASSERT_THAT(draft.add(), ElementsAre(4_id));
    EXPECT_EQ(engine.record(4_id).referrer, std::nullopt) << "The earlier one must be forgotten.";
}

TEST(DroppedData, holdsLinksInTheFormatsOfBrowsersAndFileManagers) {
    const TemporaryFolder folder;
    writeFile(folder / "www.trap.example", "http://file.example/[1-2]");
    const QByteArray file = ("file://" + (folder / "www.trap.example").string()).c_str();
    using Formats = std::vector<std::pair<const char*, QByteArray>>;
    const char *const plain = "text/plain", *const list = "text/uri-list", *const html = "text/html";
    const std::tuple<const char*, Formats, std::vector<URL>> cases[] = {
        {"a link and its title",
         {{list, "# one\r\nhttp://a.example/a%2Fb\r\n"},
          {plain, "http://a.example/a%2Fb"},
          {html, "<a href='http://a.example/a%2Fb'>www.title.example/b</a>"}},
         {link("http://a.example/a%2Fb")}},
        {"a file whose path is repeated as text",
         {{list, file + "\r\n"}, {plain, file}},
         {link("http://file.example/1"), link("http://file.example/2")}},
        {"a piece of a page",
         {{plain, "Get it here"},
          {html, "<html xmlns='http://www.w3.org/x'><a class=b HREF=\"http://a.example/a?b&amp;c\">"
                 "<img src='http://a.example/thumbnail.png'>Get it</a> here</html>"}},
         {link("http://a.example/a?b&c")}},
        {"a folder", {{list, "file:///"}}, {}},
    };
    for (const auto& [name, formats, links] : cases) {
        QMimeData data;
        for (const auto& [format, content] : formats) {
            data.setData(format, content);
        }
        EXPECT_TRUE(mayHoldLinks(data)) << name;
        EXPECT_EQ(linksIn(data), links) << name;
    }
    QMimeData picture;
    picture.setData("image/png", "…");
    EXPECT_FALSE(mayHoldLinks(picture));
}

TEST(DroppedData, isReadElsewhereAndToldOnlyToWhoIsStillThere) {
    const TemporaryFolder folder;
    writeFile(folder / "list.txt", "http://a.example/a");
    std::optional<std::vector<URL>> found;
    QObject here;
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile((folder / "list.txt").c_str())});
        QObject gone;
        findLinks(data, &gone, [](const auto&) { ADD_FAILURE() << "Nobody is there any more."; });
        findLinks(data, &here, [&](const auto& links) { found = links; });
    }
    EXPECT_FALSE(found) << "The call must not wait.";
    ASSERT_TRUE(QTest::qWaitFor([&] { return found.has_value(); }));
    EXPECT_THAT(*found, ElementsAre(link("http://a.example/a")));
}

TEST(LinksEdit, breaksLongLinesBetweenLinks) {
    const QString link = "\"http://a.example/" + QString(1500, 'a') + "\",";
    const QString text = withShortLines(link.repeated(100));
    EXPECT_GT(text.count('\n'), 10) << "It would take the editor minutes.";
    EXPECT_EQ(text.count(link.mid(1, 1500)), 100) << "No link may be cut.";
}

TEST(RecentFolders, remembersTheLatestFirst) {
    const TemporaryFolder folder;
    const auto path = folder / "state/recent.json";
    for (const char* const name : {"/a", "/b", "/a"}) {
        RecentFolders(path).add(URL::folder(name));
    }
    EXPECT_THAT(RecentFolders(path).folders(), ElementsAre(URL::folder("/a"), URL::folder("/b")));
    for (const char* const text : {"{\"a\":1}", "[1]", "[\"relative\", \"http://a.example/\"]"}) {
        writeFile(path, text);
        EXPECT_TRUE(RecentFolders(path).folders().empty()) << text;
    }
    RecentFolders("/proc/none/recent.json").add(URL::folder("/a")); // which can't be saved
}

} // namespace fluvane::support
