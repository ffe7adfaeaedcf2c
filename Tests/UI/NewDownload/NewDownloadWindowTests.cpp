// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"
#include "Support/Numbers.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QAction>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <gmock/gmock.h>

namespace fluvane::support {

using namespace testing;

namespace {

class NewDownloadTest : public Test {
protected:
    NewDownloadTest() {
        QGuiApplication::clipboard()->clear();
        bench.engine.manager->start();
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    template <class Widget>
    Widget& find(const char* name) {
        return *window.findChild<Widget*>(name);
    }
    QString text() { return find<QPlainTextEdit>("links").toPlainText(); }
    QString button() { return find<QPushButton>("download").text(); }
    std::string rows() {
        std::string names;
        const auto* const model = find<QListView>("found-links").model();
        for (int i = 0; i < model->rowCount(); ++i) {
            names += (i ? " " : "") + model->index(i, 0).data().toString().toStdString();
        }
        return names;
    }
    [[nodiscard]] testing::AssertionResult shows(const std::string& wanted) {
        return QTest::qWaitFor([&] { return rows() == wanted && find<QPushButton>("download").isEnabled(); })
                   ? AssertionSuccess()
                   : AssertionFailure() << rows();
    }
    void type(const QString& typed) { QTest::keyClicks(&find<QPlainTextEdit>("links"), typed); }
    void press(Qt::Key key, Qt::KeyboardModifiers with = {}) {
        QTest::keyClick(&find<QPlainTextEdit>("links"), key, with);
    }
    static void copy(const QString& copied) { QGuiApplication::clipboard()->setText(copied); }
    [[nodiscard]] std::size_t downloads() const { return bench.engine.manager->downloads().size(); }

    TemporaryFolder folder;
    WindowBench bench;
    RecentFolders recent{folder / "recent.json"};
    NewDownloadWindow window{bench.context, recent};
};

} // namespace

TEST_F(NewDownloadTest, downloadsWhatIsTypedOnceTheUserSaysSo) {
    type("see http://a.example/part[1-3].zip");
    ASSERT_TRUE(shows("part1.zip part2.zip part3.zip"));
    EXPECT_EQ(button(), "&Download 3 Files");
    auto& list = find<QListView>("found-links");
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Space);
    EXPECT_EQ(button(), "&Download 2 Files");
    EXPECT_EQ(downloads(), 0U);
    press(Qt::Key_Return, Qt::ControlModifier);
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
    EXPECT_EQ(find<QPlainTextEdit>("links").textCursor().selectedText(), "http://a.example/a");
    type("http://a.example/typed");
    ASSERT_TRUE(shows("typed")) << "Typing replaces what was taken.";
    copy("http://a.example/c http://a.example/typed");
    window.offerClipboard();
    auto& add = find<QPushButton>("add-clipboard");
    ASSERT_TRUE(QTest::qWaitFor([&] { return add.isVisible(); }));
    EXPECT_EQ(text(), "http://a.example/typed");
    QTest::mouseClick(&add, Qt::LeftButton);
    EXPECT_TRUE(shows("typed c"));
    EXPECT_FALSE(add.isVisible());
}

TEST_F(NewDownloadTest, forgetsClipboardLinksThatWereOnlyLookedAt) {
    copy("http://a.example/a");
    window.offerClipboard();
    ASSERT_TRUE(shows("a"));
    press(Qt::Key_Escape);
    EXPECT_EQ(text(), "");
    window.show();
    window.offerClipboard();
    EXPECT_TRUE(QTest::qWaitFor([&] { return find<QPushButton>("add-clipboard").isVisible(); }))
        << "Declined once, they are only offered.";
    EXPECT_EQ(text(), "");
}

TEST_F(NewDownloadTest, keepsClipboardLinksThatSomethingWasChosenFor) {
    copy("http://a.example/a");
    window.offerClipboard();
    ASSERT_TRUE(shows("a"));
    find<FolderChoice>("folder").setFolder(URL::folder("/elsewhere"));
    press(Qt::Key_Escape);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    ASSERT_TRUE(shows("a"));
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return downloads() == 1; })) << "once the text is read";
    EXPECT_EQ(bench.engine.record(1_id).folder, URL::folder("/elsewhere")) << "What the window shows counts.";
}

TEST_F(NewDownloadTest, takesTheLinksOfDroppedFilesAndPastedPages) {
    writeFile(folder / "list.txt", "http://a.example/1 http://a.example/2");
    QMimeData file;
    file.setUrls({QUrl::fromLocalFile((folder / "list.txt").c_str())});
    drop(window, file);
    ASSERT_TRUE(shows("1 2"));
    EXPECT_FALSE(find<QPlainTextEdit>("links").viewport()->acceptDrops()) << "A drop could break a link.";
    auto* const page = new QMimeData;
    page->setHtml("<a href='http://a.example/3'>three</a>");
    page->setText(" three");
    QGuiApplication::clipboard()->setMimeData(page);
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(shows("1 2 3"));
    EXPECT_EQ(downloads(), 0U);
}

TEST_F(NewDownloadTest, remembersAChosenFolder) {
    type("http://a.example/a");
    ASSERT_TRUE(shows("a"));
    for (auto* const action : window.actions()) {
        if (action->text() == "Choose Folder…") {
            action->trigger();
        }
    }
    chooseFile(window.findChild<QFileDialog*>(), folder.path().c_str());
    EXPECT_EQ(find<QLabel>("destination").text().toStdString(), "It goes to " + folder.path().string() + ".");
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_EQ(downloads(), 1U);
    EXPECT_EQ(bench.engine.record(1_id).folder, URL::folder(folder.path().string()));
    EXPECT_THAT(recent.folders(), ElementsAre(URL::folder(folder.path().string())));
    EXPECT_FALSE(find<FolderChoice>("folder").folder()) << "The next download goes where the settings say.";
}

TEST_F(NewDownloadTest, takesTheReferrerOfAPageAndObjectsToWhatIsNone) {
    window.fill({link("http://a.example/a")}, link("https://page.example/"));
    ASSERT_TRUE(shows("a"));
    auto& referrer = find<QLineEdit>("referrer");
    EXPECT_TRUE(referrer.isVisible());
    referrer.setText("page");
    EXPECT_FALSE(find<QPushButton>("download").isEnabled());
    EXPECT_NE(find<QLabel>("objection").text(), "");
    referrer.setText("https://page.example/b");
    auto& checksum = find<QLineEdit>("checksum");
    QTest::keyClicks(&checksum, "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(find<QLabel>("algorithm").text(), "MD5");
    QTest::keyClick(&checksum, Qt::Key_Return);
    ASSERT_EQ(downloads(), 1U);
    EXPECT_EQ(bench.engine.record(1_id).referrer, link("https://page.example/b"));
    EXPECT_TRUE(bench.engine.record(1_id).checksum);
}

} // namespace fluvane::support
