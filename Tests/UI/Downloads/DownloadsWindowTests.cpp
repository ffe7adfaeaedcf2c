// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "SampleList.h"
#include "Support/Windows/Widgets.h"

#include <QContextMenuEvent>
#include <QTabBar>
#include <QTemporaryDir>

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
    QAction& action(const char* name) { return part<QAction>(window, name); }
    void trigger(const char* name) {
        action(name).trigger();
        list.refresh();
    }
    int current() { return view.currentIndex().data(DownloadsModel::IdRole).toInt(); }
    bool asks() { return window.findChild<QMessageBox*>("question") != nullptr; }
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

QStringList visible(const QList<QAction*>& actions) {
    QStringList names;
    for (const QAction* action : actions) {
        if (action->isVisible() && !action->isSeparator()) {
            names.append(action->objectName());
        }
    }
    return names;
}

TEST_F(DownloadsWindowTest, OffersOnlyWhatApplies) {
    const std::pair<int, const char*> rows[] = {
        {1, "resume next prioritize show change-link checksum copy-link remove"},
        {2, "open show checksum copy-link remove remove-file"},
        {3, "resume prioritize show change-link checksum copy-link remove"},
        {5, "pause next prioritize change-link checksum copy-link remove"},
        {7, "pause stop-prioritizing change-link checksum copy-link remove"},
    };
    for (const auto& [id, expected] : rows) {
        choose(id);
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(50, 50),
                                view.mapToGlobal(QPoint(50, 50)));
        QApplication::sendEvent(view.viewport(), &event);
        auto& menu = part<QMenu>(window, "context-menu");
        EXPECT_EQ(visible(menu.actions()).join(" "), expected) << id;
        menu.close();
        deleteClosed();
    }
    choose(3);
    EXPECT_EQ(action("resume").text().remove('&'), "Try Again");
    list.engine.manager->setLimitedNetwork(LimitedNetwork::hotspot);
    choose(5);
    EXPECT_EQ(action("resume").text().remove('&'), "Download Anyway");
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
    trigger("pause");
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

TEST_F(DownloadsWindowTest, TheNextOneTakesThePlaceOfWhatWasRemoved) {
    choose(5);
    const int next =
        view.model()->index(view.currentIndex().row() + 1, 0).data(DownloadsModel::IdRole).toInt();
    press(Qt::Key_Delete);
    EXPECT_EQ(current(), next);
    EXPECT_TRUE(view.selectionModel()->isSelected(view.currentIndex()));
    window.select({2_id, 8_id}, false);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    answer("Remove and Delete");
    EXPECT_FALSE(isThere(2) || isThere(8));
    EXPECT_TRUE(view.selectionModel()->isSelected(view.currentIndex()));
    choose(1);
    list.engine.manager->remove(1_id);
    list.refresh();
    EXPECT_TRUE(view.selectionModel()->selection().isEmpty()) << "not on this window's word";
}

TEST_F(DownloadsWindowTest, FilesGoToTheWastebasketOrStay) {
    list.files.trashProblem = "Permission denied";
    choose(2);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    answer("Remove and Delete");
    auto& problem = part<QMessageBox>(window, "problem");
    EXPECT_EQ(problem.informativeText(), "holiday video.mp4: Permission denied");
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
    click(window, "add-first");
    EXPECT_THAT(windows, ElementsAre("new"));
    QApplication::clipboard()->setText("http://x.example/1"); // pasted where there is no list
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return windows.size() == 2; }));
}

TEST_F(DownloadsWindowTest, SearchAndFilterKeepTheSelection) {
    choose(6);
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(&search, "track");
    EXPECT_EQ(view.model()->rowCount(), 2);
    EXPECT_EQ(current(), 6);
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return}) {
        search.setFocus();
        QTest::keyClick(&search, key);
        EXPECT_TRUE(view.hasFocus());
        EXPECT_EQ(view.selectionModel()->selectedRows(), QModelIndexList{view.model()->index(0, 0)});
    }
    EXPECT_THAT(files, IsEmpty());
    choose(6);
    search.setFocus();
    QTest::keyClick(&search, Qt::Key_Delete); // the field's own
    EXPECT_TRUE(isThere(6));
    QTest::keyClicks(&search, "xyz");
    EXPECT_FALSE(view.isVisible());
    QTest::keyClick(&search, Qt::Key_Escape);
    EXPECT_EQ(search.text(), "");
    EXPECT_TRUE(view.hasFocus());
    part<QTabBar>(window, "filter").setCurrentIndex(5);
    EXPECT_EQ(view.model()->rowCount(), 2);
    choose(3);
    EXPECT_EQ(view.model()->rowCount(), 8) << "a filter that hides it is taken away";
    EXPECT_EQ(current(), 3);
}

/// Ctrl+Return in New Download adds them, so Ctrl is still down then.
TEST_F(DownloadsWindowTest, WhatWasAddedIsAllThatIsSelected) {
    choose(1);
    trigger("details");
    QTest::keyPress(&view, Qt::Key_Control, Qt::ControlModifier);
    ASSERT_TRUE(QApplication::keyboardModifiers().testFlag(Qt::ControlModifier));
    window.select({5_id, 99_id, 6_id}, false);
    QTest::keyRelease(&view, Qt::Key_Control);
    std::vector<std::int64_t> selected;
    for (const QModelIndex& index : view.selectionModel()->selectedIndexes()) {
        selected.push_back(index.data(DownloadsModel::IdRole).toLongLong());
    }
    EXPECT_THAT(selected, testing::UnorderedElementsAre(5, 6));
    EXPECT_FALSE(action("details").isChecked()) << "closed by the person";
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
    EXPECT_TRUE(QTest::qWaitFor([&] { return said(window, "summary").starts_with("There's no link"); }));
}

TEST_F(DownloadsWindowTest, DoesNothingWhileHidden) {
    list.run();
    window.close();
    QSignalSpy changes(view.model(), &QAbstractItemModel::dataChanged);
    list.engine.manager->pause(7_id);
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
        activate(window);
        part<QAction>(window, "details").trigger();
        part<QTabBar>(window, "filter").setCurrentIndex(5);
        const auto actions = window.findChildren<QAction*>();
        (*std::ranges::find(actions, "&Reversed", &QAction::text))->trigger();
        QSignalSpy closed(&window, &DownloadsWindow::closedByUser);
        QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
        EXPECT_EQ(closed.count(), 1);
        EXPECT_FALSE(window.isVisible());
    }
    DownloadsWindow again(list.context, file);
    again.show();
    list.refresh();
    EXPECT_EQ(again.size(), QSize(800, 500));
    EXPECT_FALSE(part<QAction>(again, "details").isChecked());
    const auto& model = *part<QListView>(again, "list").model();
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.index(0, 0).data(DownloadsModel::IdRole), 2);
}

} // namespace
