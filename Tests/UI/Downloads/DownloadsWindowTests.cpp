// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "SampleList.h"
#include "Support/Windows/Widgets.h"

#include <QContextMenuEvent>
#include <QTabBar>

using namespace fluvane;
using namespace fluvane::support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DownloadsWindowTest : public testing::Test {
protected:
    DownloadsWindowTest() {
        activate(window);
        list.refresh();
        view.setFocus();
    }
    void choose(std::int64_t id) {
        window.select({DownloadID{id}}, true);
        list.refresh();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* const focused = QApplication::focusWidget();
        QTest::keyClick(focused ? focused : &view, key, modifiers);
        list.refresh();
    }
    void trigger(const char* name) {
        part<QAction>(window, name).trigger();
        list.refresh();
    }
    int current() { return view.currentIndex().data(DownloadsModel::IdRole).toInt(); }
    void answer(const char* button) {
        for (auto* const each : part<QMessageBox>(window, "question").buttons()) {
            if (each->text().remove('&') == button) {
                each->setFocus();
                QTest::keyClick(each, Qt::Key_Space);
                backToTheWindow();
                return;
            }
        }
        FAIL() << "no button " << button;
    }
    void backToTheWindow() {
        deleteClosed();
        activate(window);
        list.refresh();
    }
    bool isThere(std::int64_t id) { return list.engine.manager->download(DownloadID{id}) != nullptr; }

    SampleList list;
    DownloadsWindow window{list.context};
    QListView& view = part<QListView>(window, "list");
    QLineEdit& search = part<QLineEdit>(window, "search");
    std::vector<std::string>& windows = list.windows.asked;
    std::vector<std::string>& files = list.files.asked;
};

TEST_F(DownloadsWindowTest, OffersOnlyWhatApplies) {
    const std::pair<int, const char*> rows[] = {
        {1, "resume next prioritize show change-link checksum copy-link remove"},
        {2, "open show checksum copy-link remove remove-file"},
        {7, "pause stop-prioritizing change-link checksum copy-link remove"},
    };
    for (const auto& [id, expected] : rows) {
        choose(id);
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(50, 50),
                                view.mapToGlobal(QPoint(50, 50)));
        QApplication::sendEvent(view.viewport(), &event);
        auto& menu = part<QMenu>(window, "context-menu");
        QStringList names;
        for (const QAction* each : menu.actions()) {
            if (each->isVisible() && !each->isSeparator()) {
                names.append(each->objectName());
            }
        }
        EXPECT_EQ(names.join(" "), expected) << id;
        menu.close();
        deleteClosed();
    }
}

TEST_F(DownloadsWindowTest, CommandsReachTheirDownloads) {
    choose(5);
    press(Qt::Key_Space);
    EXPECT_EQ(list.engine.state(5_id), "paused");
    press(Qt::Key_Space);
    EXPECT_EQ(list.engine.state(5_id), "queued");
    choose(6);
    trigger("next");
    EXPECT_EQ(list.engine.manager->queue().front()->id(), 6_id);
    trigger("prioritize");
    EXPECT_TRUE(list.engine.manager->download(6_id)->isPrioritized());
    trigger("stop-prioritizing");
    EXPECT_FALSE(list.engine.manager->download(6_id)->isPrioritized());
    trigger("change-link");
    trigger("checksum");
    choose(2);
    press(Qt::Key_Return);
    trigger("show");
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "http://b.example/holiday%20video.mp4");
    EXPECT_THAT(files, ElementsAre("open file:///downloads/holiday%20video.mp4",
                                   "show file:///downloads/holiday%20video.mp4"));
    press(Qt::Key_N, Qt::ControlModifier);
    press(Qt::Key_Comma, Qt::ControlModifier);
    press(Qt::Key_Q, Qt::ControlModifier);
    EXPECT_THAT(windows, ElementsAre("link 6", "checksum 6", "new", "settings", "quit"));
    press(Qt::Key_A, Qt::ControlModifier);
    trigger("pause");
    EXPECT_EQ(list.engine.state(7_id), "paused");
    EXPECT_EQ(list.engine.state(5_id), "paused");
}

TEST_F(DownloadsWindowTest, RemovingAsksBeforeBytesAreLost) {
    choose(5);
    press(Qt::Key_Delete);
    EXPECT_FALSE(isThere(5)) << "nothing is lost";
    choose(2);
    press(Qt::Key_Delete);
    EXPECT_FALSE(isThere(2)) << "its file stays";
    choose(1);
    press(Qt::Key_Delete);
    answer("Cancel");
    EXPECT_TRUE(isThere(1));
    window.select({1_id, 3_id, 6_id}, false);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_THAT(part<QMessageBox>(window, "question").informativeText().toStdString(),
                testing::HasSubstr("2 of them")); // the third has nothing to lose
    answer("Remove");
    EXPECT_FALSE(isThere(1) || isThere(3) || isThere(6));
    EXPECT_THAT(files, IsEmpty());
}

TEST_F(DownloadsWindowTest, FilesGoToTheWastebasketOrStay) {
    list.files.trashProblem = "Permission denied";
    choose(2);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    answer("Remove and Delete");
    auto& problem = part<QMessageBox>(window, "problem");
    for (const QLabel* const label : problem.findChildren<QLabel*>()) {
        EXPECT_EQ(label->textFormat(), Qt::PlainText) << "a name could be a link";
    }
    problem.close();
    backToTheWindow();
    EXPECT_TRUE(isThere(2));
    list.files.trashProblem.reset();
    press(Qt::Key_A, Qt::ControlModifier);
    trigger("remove-file");
    answer("Remove and Delete");
    EXPECT_THAT(list.engine.manager->downloads(), IsEmpty());
    EXPECT_THAT(files, testing::Contains("trash file:///downloads/doubtful.exe"));
}

TEST_F(DownloadsWindowTest, SearchAndFilterKeepTheSelection) {
    choose(6);
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(&search, "track");
    EXPECT_EQ(view.model()->rowCount(), 2);
    EXPECT_EQ(current(), 6);
    QTest::keyClick(&search, Qt::Key_Delete); // the field's own
    EXPECT_TRUE(isThere(6));
    QTest::keyClick(&search, Qt::Key_Escape);
    EXPECT_EQ(search.text(), "");
    part<QTabBar>(window, "filter").setCurrentIndex(5);
    EXPECT_EQ(view.model()->rowCount(), 2);
    choose(3);
    EXPECT_EQ(view.model()->rowCount(), 8) << "a filter that hides it is taken away";
    EXPECT_EQ(current(), 3);
}

TEST_F(DownloadsWindowTest, LinksComeInByPaste) {
    QApplication::clipboard()->setText("see http://x.example/1 and http://x.example/2");
    press(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !windows.empty(); }));
    EXPECT_THAT(windows, ElementsAre("new http://x.example/1 http://x.example/2"));
}

} // namespace
