// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

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
    [[nodiscard]] AssertionResult shows(const std::string& wanted) {
        const bool is = QTest::qWaitFor([&] { return rows() == wanted && download.isEnabled(); });
        return is ? AssertionSuccess() : AssertionFailure() << rows();
    }
    void type(const QString& typed) { QTest::keyClicks(&edit, typed); }
    void press(Qt::Key key, Qt::KeyboardModifiers with = {}) { QTest::keyClick(&edit, key, with); }
    static void copy(const QString& copied) { QGuiApplication::clipboard()->setText(copied); }
    [[nodiscard]] std::size_t downloads() const { return bench.engine.manager->downloads().size(); }

    TemporaryFolder folder;
    WindowBench bench;
    RecentFolders recent{folder / "recent.json"};
    NewDownloadWindow window{bench.context, recent};
    QPlainTextEdit& edit = part<QPlainTextEdit>(window, "links");
    QListView& list = part<QListView>(window, "found-links");
    QPushButton& download = part<QPushButton>(window, "download");
    QPushButton& offer = part<QPushButton>(window, "add-clipboard");
};

} // namespace

TEST_F(NewDownloadTest, downloadsWhatIsTypedOnceTheUserSaysSo) {
    type("see http://a.example/part[1-3].zip");
    ASSERT_TRUE(shows("part1.zip part2.zip part3.zip"));
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Space);
    EXPECT_EQ(download.text(), "&Download 2 Files");
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

TEST_F(NewDownloadTest, remembersAChosenFolder) {
    type("http://a.example/a");
    ASSERT_TRUE(shows("a"));
    const auto actions = window.actions();
    (*std::ranges::find(actions, "Choose Folder…", &QAction::text))->trigger();
    chooseFile(window.findChild<QFileDialog*>(), folder.path().c_str());
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_EQ(downloads(), 1U);
    EXPECT_EQ(bench.engine.record(1_id).folder, URL::folder(folder.path().string()));
    EXPECT_THAT(recent.folders(), ElementsAre(URL::folder(folder.path().string())));
    EXPECT_FALSE(part<FolderChoice>(window, "folder").folder()) << "The next one goes by the settings.";
}

TEST_F(NewDownloadTest, takesTheReferrerOfAPageAndObjectsToWhatIsNone) {
    window.fill({link("http://a.example/a")}, link("https://page.example/"));
    ASSERT_TRUE(shows("a"));
    auto& referrer = part<QLineEdit>(window, "referrer");
    referrer.setText("page");
    EXPECT_FALSE(download.isEnabled());
    referrer.setText("https://page.example/b");
    typeAndEnter(part<QLineEdit>(window, "checksum"), "d41d8cd98f00b204e9800998ecf8427e");
    ASSERT_EQ(downloads(), 1U);
    EXPECT_EQ(bench.engine.record(1_id).referrer, link("https://page.example/b"));
    EXPECT_TRUE(bench.engine.record(1_id).checksum);
}

} // namespace fluvane::support
