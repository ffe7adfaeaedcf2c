// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "SampleList.h"
#include "Support/Numbers.h"
#include "Support/Windows/Widgets.h"

#include <QAction>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>

#include <gmock/gmock.h>

using namespace fluvane;
using namespace fluvane::support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DownloadsWindowTest : public testing::Test {
protected:
    DownloadsWindowTest() {
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        list.refresh();
        view().setFocus();
    }
    QListView& view() { return *window.findChild<QListView*>("list"); }
    QLineEdit& search() { return *window.findChild<QLineEdit*>("search"); }
    void choose(std::int64_t id) {
        window.select({DownloadID{id}}, true);
        list.refresh();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* const focused = QApplication::focusWidget();
        QTest::keyClick(focused ? focused : &view(), key, modifiers);
        list.refresh();
    }
    /// The commands offered now.
    std::vector<std::string> offered() {
        std::vector<std::string> names;
        for (const char* name : {"resume", "pause", "next", "prioritize", "stop-prioritizing", "open", "show",
                                 "change-link", "checksum", "copy-link", "remove", "remove-file"}) {
            QAction* const action = window.findChild<QAction*>(name);
            if (action->isVisible()) {
                names.push_back(action->text().remove('&').toStdString());
            }
        }
        return names;
    }
    void trigger(const char* name) {
        window.findChild<QAction*>(name)->trigger();
        list.refresh();
    }
    QMessageBox* question() { return window.findChild<QMessageBox*>("question"); }
    void answer(const char* button) {
        ASSERT_NE(question(), nullptr);
        for (auto* const each : question()->buttons()) {
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
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        list.refresh();
    }
    bool isThere(std::int64_t id) { return list.engine.manager->download(DownloadID{id}) != nullptr; }

    SampleList list;
    DownloadsWindow window{list.context};
    std::vector<std::string>& windows = list.windows.asked;
    std::vector<std::string>& files = list.files.asked;
};

TEST_F(DownloadsWindowTest, OffersOnlyWhatApplies) {
    const std::pair<int, std::vector<std::string>> rows[] = {
        {1,
         {"Resume", "Next in Line", "Prioritize", "Show in Folder", "Change Link…", "Checksum…", "Copy Link",
          "Remove"}},
        {2, {"Open", "Show in Folder", "Checksum…", "Copy Link", "Remove", "Remove and Delete File"}},
        {3,
         {"Try Again", "Prioritize", "Show in Folder", "Change Link…", "Checksum…", "Copy Link", "Remove"}},
        {5, {"Pause", "Next in Line", "Prioritize", "Change Link…", "Checksum…", "Copy Link", "Remove"}},
        {7, {"Pause", "Stop Prioritizing", "Change Link…", "Checksum…", "Copy Link", "Remove"}},
    };
    for (const auto& [id, expected] : rows) {
        choose(id);
        EXPECT_EQ(offered(), expected) << id;
    }
    list.engine.manager->setLimitedNetwork(LimitedNetwork::hotspot);
    choose(5);
    EXPECT_EQ(offered()[0], "Download Anyway");
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
}

TEST_F(DownloadsWindowTest, ManyAtOnce) {
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(window.findChild<QLabel*>("selection")->text(), "8 selected");
    trigger("pause");
    EXPECT_EQ(window.findChild<QLabel*>("summary")->text(), "Nothing running");
    EXPECT_EQ(list.engine.state(7_id), "paused");
    trigger("copy-link");
    EXPECT_EQ(QApplication::clipboard()->text().count('\n'), 7);
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
    ASSERT_TRUE(question());
    EXPECT_EQ(question()->text(), "Remove \"Système-début.iso\"?");
    EXPECT_EQ(question()->informativeText(), "It isn't finished. The 1.4 GB downloaded so far are deleted.");
    answer("Cancel");
    EXPECT_TRUE(isThere(1));
    const std::pair<std::vector<DownloadID>, const char*> several[] = {
        {{1_id, 6_id}, "What one of them downloaded so far is deleted: 1.4 GB."},
        {{1_id, 3_id, 6_id}, "What 2 of them downloaded so far is deleted: 1.4 GB."}};
    for (const auto& [ids, explanation] : several) {
        window.select(ids, false);
        press(Qt::Key_Delete);
        ASSERT_TRUE(question());
        EXPECT_EQ(question()->informativeText(), explanation);
        answer("Cancel");
    }
    choose(1);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    answer("Remove");
    EXPECT_FALSE(isThere(1));
    EXPECT_THAT(files, IsEmpty());
}

TEST_F(DownloadsWindowTest, TheNextOneTakesThePlaceOfWhatWasRemoved) {
    const auto current = [&] {
        const QModelIndex index = view().currentIndex();
        return view().selectionModel()->isSelected(index) ? index.data(DownloadsModel::IdRole).toInt() : 0;
    };
    const int row = (choose(5), view().currentIndex().row());
    const int next = view().model()->index(row + 1, 0).data(DownloadsModel::IdRole).toInt();
    press(Qt::Key_Delete);
    EXPECT_EQ(current(), next);
    window.select({2_id, 8_id}, false);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    answer("Remove and Delete");
    EXPECT_FALSE(isThere(2) || isThere(8));
    EXPECT_NE(current(), 0);
    choose(1);
    list.engine.manager->remove(1_id);
    list.refresh();
    EXPECT_TRUE(view().selectionModel()->selection().isEmpty()) << "not on this window's word";
}

TEST_F(DownloadsWindowTest, FilesGoToTheWastebasketOrStay) {
    list.files.trashProblem = "Permission denied";
    choose(2);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_EQ(question()->text(), "Remove \"holiday video.mp4\" and delete the file?");
    answer("Remove and Delete");
    auto* const problem = window.findChild<QMessageBox*>("problem");
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->informativeText(), "holiday video.mp4: Permission denied");
    for (const QLabel* const label : problem->findChildren<QLabel*>()) {
        EXPECT_EQ(label->textFormat(), Qt::PlainText)
            << "a name could be a link: " << label->objectName().toStdString();
    }
    problem->close();
    backToTheWindow();
    EXPECT_TRUE(isThere(2));
    list.files.trashProblem.reset();
    view().selectAll();
    list.refresh();
    trigger("remove-file");
    EXPECT_EQ(question()->text(), "Remove 8 downloads and delete the files?");
    answer("Remove and Delete");
    EXPECT_THAT(list.engine.manager->downloads(), IsEmpty());
    EXPECT_THAT(files, testing::Contains("trash file:///downloads/doubtful.exe"));
    auto* const add = window.findChild<QPushButton*>("add-first");
    ASSERT_TRUE(add && add->isVisible());
    add->click();
    EXPECT_THAT(windows, ElementsAre("new"));
}

TEST_F(DownloadsWindowTest, SearchAndFilterKeepTheSelection) {
    choose(6);
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(&search(), "track");
    EXPECT_EQ(view().model()->rowCount(), 2);
    EXPECT_EQ(view().currentIndex().data(DownloadsModel::IdRole), 6);
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return}) {
        search().setFocus();
        QTest::keyClick(&search(), key);
        EXPECT_TRUE(view().hasFocus());
        EXPECT_EQ(view().selectionModel()->selectedRows(), QModelIndexList{view().model()->index(0, 0)});
    }
    EXPECT_THAT(files, IsEmpty());
    choose(6);
    search().setFocus();
    QTest::keyClick(&search(), Qt::Key_Delete); // the field's own
    EXPECT_TRUE(isThere(6));
    QTest::keyClicks(&search(), "xyz");
    EXPECT_FALSE(view().isVisible());
    QTest::keyClick(&search(), Qt::Key_Escape);
    EXPECT_EQ(search().text(), "");
    EXPECT_TRUE(view().hasFocus());
    window.findChild<QTabBar*>("filter")->setCurrentIndex(5);
    EXPECT_EQ(view().model()->rowCount(), 2);
    choose(3);
    EXPECT_EQ(view().model()->rowCount(), 8) << "a filter that hides it is taken away";
    EXPECT_EQ(view().currentIndex().data(DownloadsModel::IdRole), 3);
}

/// Ctrl+Return in New Download adds them, so Ctrl is still down then.
TEST_F(DownloadsWindowTest, WhatWasAddedIsAllThatIsSelected) {
    choose(1);
    trigger("details");
    QTest::keyPress(&view(), Qt::Key_Control, Qt::ControlModifier);
    ASSERT_TRUE(QApplication::keyboardModifiers().testFlag(Qt::ControlModifier));
    window.select({5_id, 99_id, 6_id}, false);
    QTest::keyRelease(&view(), Qt::Key_Control);
    std::vector<std::int64_t> selected;
    for (const QModelIndex& index : view().selectionModel()->selectedIndexes()) {
        selected.push_back(index.data(DownloadsModel::IdRole).toLongLong());
    }
    EXPECT_THAT(selected, testing::UnorderedElementsAre(5, 6));
    EXPECT_FALSE(window.findChild<QAction*>("details")->isChecked()) << "closed by the person";
}

TEST_F(DownloadsWindowTest, LinksComeInByPasteAndDrop) {
    const auto asked = [&](std::size_t count) {
        return QTest::qWaitFor([&] { return windows.size() == count; });
    };
    QApplication::clipboard()->setText("see http://x.example/1 and http://x.example/2");
    press(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(asked(1));
    QMimeData data;
    data.setText("http://x.example/3");
    drop(window, data);
    ASSERT_TRUE(asked(2));
    EXPECT_THAT(windows, ElementsAre("new http://x.example/1 http://x.example/2", "new http://x.example/3"));
    QMimeData none;
    none.setText("no link");
    drop(window, none);
    auto* const summary = window.findChild<QLabel*>("summary");
    EXPECT_TRUE(QTest::qWaitFor([&] { return summary->text() == "There's no link in what was dropped."; }));
    const int narrow = window.minimumSizeHint().width();
    window.tell(QString(500, 'x') + ".iso couldn't be opened: it isn't there anymore.");
    EXPECT_TRUE(summary->text().endsWith("it isn't there anymore.")) << summary->text().toStdString();
    EXPECT_EQ(window.minimumSizeHint().width(), narrow);
}

TEST_F(DownloadsWindowTest, TheContextMenuHoldsWhatApplies) {
    choose(2);
    QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(50, 50), view().mapToGlobal(QPoint(50, 50)));
    QApplication::sendEvent(view().viewport(), &event);
    auto* const menu = window.findChild<QMenu*>("context-menu");
    ASSERT_TRUE(menu && menu->isVisible());
    QStringList shown;
    for (const QAction* action : menu->actions()) {
        if (action->isVisible() && !action->isSeparator()) {
            shown.append(action->text().remove('&'));
        }
    }
    EXPECT_EQ(shown.join(", "), "Open, Show in Folder, Checksum…, Copy Link, Remove, Remove and Delete File");
    menu->close();
}

TEST(EmptyDownloadsWindow, TakesPastedLinks) {
    WindowBench none;
    DownloadsWindow window(none.context);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QApplication::clipboard()->setText("http://x.example/1");
    QTest::keyClick(&window, Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return none.windows.asked.size() == 1; }));
}

TEST_F(DownloadsWindowTest, DoesNothingWhileHidden) {
    list.run();
    window.close();
    QSignalSpy changes(view().model(), &QAbstractItemModel::dataChanged);
    list.engine.manager->pause(DownloadID{7});
    list.refresh();
    EXPECT_EQ(changes.count(), 0);
    window.show();
    EXPECT_GT(changes.count(), 0);
}

TEST(DownloadsWindowMemory, IsKeptOverRuns) {
    const QTemporaryDir folder;
    const QString file = folder.filePath("window.ini");
    SampleList list;
    {
        DownloadsWindow window(list.context, file);
        window.resize(800, 500);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        window.findChild<QAction*>("details")->trigger();
        window.findChild<QTabBar*>("filter")->setCurrentIndex(5);
        QSignalSpy closed(&window, &DownloadsWindow::closedByUser);
        QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
        EXPECT_EQ(closed.count(), 1);
        EXPECT_FALSE(window.isVisible());
    }
    DownloadsWindow again(list.context, file);
    again.show();
    list.refresh();
    EXPECT_EQ(again.size(), QSize(800, 500));
    EXPECT_FALSE(again.findChild<QAction*>("details")->isChecked());
    EXPECT_EQ(again.findChild<QListView*>("list")->model()->rowCount(), 2);
}

} // namespace
