// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"
#include "Fluvane/UI/Models/GoneFiles.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QAbstractItemModelTester>
#include <QContextMenuEvent>
#include <QRegularExpression>
#include <QTabBar>
#include <QToolButton>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <latch>
#include <map>
#include <random>

using namespace fluvane;
using namespace fluvane::support;
using namespace testing;
using Order = DownloadsFilter::Order;

namespace {

/// One download in each state, by its number: 1 paused at 45 %, 2 finished, 3 failed, 4 link expired, 5 and 6
/// in line behind 7, 8 finished with a wrong checksum.
class SampleList : public WindowBench {
public:
    SampleList() {
        Config oneSlot;
        oneSlot.simultaneous = 1;
        settings.update(oneSlot);
        add(1, "http://a.example/Système-début.iso", DownloadState::Paused{}, 3'000'000'000);
        add(2, "http://b.example/holiday video.mp4", DownloadState::Finished{}, 5'000'000);
        add(3, "http://a.example/report.pdf", DownloadState::Failed{"It broke."}, 9'000'000);
        add(4, "http://a.example/big.zip", DownloadState::Wait::linkExpired, 700'000'000);
        add(5, "http://c.example/track10.flac");
        add(6, "http://c.example/track9.flac");
        add(7, "http://d.example/run.bin").prioritized = true;
        auto& doubtful = add(8, "http://d.example/doubtful.exe", DownloadState::Finished{}, 5'000'000);
        doubtful.checksum = Checksum(Checksum::Algorithm::md5, std::string(32, 'a'));
        doubtful.checksumResult = ChecksumResult{ChecksumResult::Differs{"b"}};
        engine.manager->start();
        refresh();
    }

private:
    /// With a name where a size is given, and with a part of its bytes or all.
    DownloadRecord& add(std::int64_t id, const char* url, DownloadState state = {},
                        std::optional<std::int64_t> size = {}) {
        auto& record = engine.store->saved.emplace_back(savedRecord(id, url, std::move(state)));
        if (size) {
            const bool isFinished = record.state.is<DownloadState::Finished>();
            record.name = record.displayName();
            record.size = size;
            (isFinished ? record.file : record.partial) = record.folder.appending(*record.name);
            record.pieces = {Piece{0, *size, isFinished ? *size : *size / 3}};
        }
        return record;
    }
};

class DownloadsWindowTest : public Test {
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
        {1, "resume next prioritize show rename change-folder change-link checksum copy-link remove "},
        {2, "open show rename change-folder checksum copy-link remove remove-file "},
        {7, "pause stop-prioritizing rename change-folder change-link checksum copy-link remove "},
    };
    for (const auto& [id, expected] : rows) {
        choose(id);
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(50, 50),
                                view.mapToGlobal(QPoint(50, 50)));
        QApplication::sendEvent(view.viewport(), &event);
        auto& menu = part<QMenu>(window, "context-menu");
        std::string names;
        for (const QAction* each : menu.actions()) {
            names += each->isVisible() && !each->isSeparator() ? each->objectName().toStdString() + " " : "";
        }
        EXPECT_EQ(names, expected) << id;
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
    QApplication::clipboard()->setText("see http://x.example/1 and http://x.example/2");
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return windows.back() == "new http://x.example/1 http://x.example/2"; }));
    press(Qt::Key_A, Qt::ControlModifier);
    trigger("pause");
    EXPECT_EQ(list.engine.state(7_id), "paused");
    EXPECT_EQ(list.engine.state(5_id), "paused");
}

TEST_F(DownloadsWindowTest, KeysReachAllDownloads) {
    constexpr auto both = Qt::ControlModifier | Qt::ShiftModifier;
    const auto& limit = list.engine.transport->speedLimit;
    press(Qt::Key_F5);
    EXPECT_THAT((std::vector{list.engine.state(1_id), list.engine.state(3_id), list.engine.state(4_id)}),
                ElementsAre("paused", "queued", "queued"));
    press(Qt::Key_P, both);
    EXPECT_EQ(list.engine.state(7_id), "paused");
    press(Qt::Key_R, both);
    EXPECT_NE(list.engine.state(7_id), "paused");
    press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(view.model()->rowCount(), 1) << "those that run";
    press(Qt::Key_1, Qt::ControlModifier);
    press(Qt::Key_F, both);
    EXPECT_FALSE(isThere(2));
    press(Qt::Key_L, Qt::ControlModifier);
    auto& choices = part<QMenu>(window, "speed-limit-menu");
    EXPECT_TRUE(choices.isVisible()) << "there was no limit yet";
    choices.actions()[3]->trigger();
    choices.close();
    list.refresh();
    const auto chosen = limit;
    EXPECT_TRUE(chosen);
    for (const auto& expected : {std::optional<std::int64_t>(), chosen}) {
        press(Qt::Key_L, Qt::ControlModifier);
        EXPECT_EQ(limit, expected);
        EXPECT_EQ(part<QAbstractButton>(window, "limit-speed-button").isChecked(), expected.has_value());
    }
}

TEST_F(DownloadsWindowTest, TheMenuHoldsEveryCommand) {
    QList<QAction*> inMenu = part<QToolButton>(window, "menu").menu()->actions();
    for (qsizetype at = 0; at < inMenu.size(); ++at) { // the list grows on the way
        if (inMenu[at]->menu()) {
            inMenu.append(inMenu[at]->menu()->actions());
        }
    }
    for (const auto& ids : {std::vector{1_id}, {2_id}, {1_id, 7_id}}) {
        window.select(ids, false);
        std::map<QKeySequence, std::string> keys;
        for (QAction* const each : window.actions() + view.actions()) {
            const auto name = each->objectName().toStdString();
            EXPECT_TRUE(inMenu.contains(each)) << name;
            if (const auto key = each->shortcut(); !key.isEmpty() && each->isVisible()) {
                EXPECT_EQ(keys.try_emplace(key, name).first->second, name) << "two for one key";
            }
        }
        EXPECT_TRUE(keys.contains(Qt::Key_Delete));
    }
}

TEST_F(DownloadsWindowTest, RemovingCanBeUndone) {
    auto& undo = part<QAbstractButton>(window, "undo");
    choose(1);
    press(Qt::Key_Delete);
    EXPECT_FALSE(isThere(1));
    window.select({3_id, 6_id}, false);
    press(Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_FALSE(isThere(3) || isThere(6));
    EXPECT_EQ(part<QLabel>(window, "removal").text(), "Removed 2 downloads.");
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(isThere(3) && isThere(6) && !isThere(1)) << "the last one first";
    EXPECT_EQ(view.selectionModel()->selectedRows().size(), 2);
    undo.click();
    list.refresh();
    EXPECT_EQ(current(), 1);
    EXPECT_FALSE(undo.isVisible());
    trigger("clear-finished");
    EXPECT_FALSE(isThere(2));
    EXPECT_TRUE(isThere(8)) << "it isn't what its checksum describes";
    list.engine.scheduler.runFor(DownloadManager::undoTime + 1);
    list.refresh();
    EXPECT_FALSE(undo.isVisible()) << "too late";
    EXPECT_THAT(files, IsEmpty());
}

/// A button that is disabled by its own press, or goes, must not pass the next key on to the one beside it.
TEST_F(DownloadsWindowTest, TheFocusComesBackToTheListFromButtonsThatGo) {
    const std::pair<int, const char*> rows[] = {{1, "button-resume"},
                                                {5, "button-pause"},
                                                {3, "notice-resume"},
                                                {1, "undo"},
                                                {2, "button-clear-finished"}};
    for (const auto& [id, name] : rows) {
        choose(id);
        if (std::string_view(name) == "undo") {
            press(Qt::Key_Delete);
        }
        auto& button = part<QAbstractButton>(window, name);
        button.setFocus();
        ASSERT_TRUE(button.hasFocus()) << name;
        press(Qt::Key_Space);
        EXPECT_FALSE(button.isEnabled() && button.isVisible()) << name;
        EXPECT_TRUE(view.hasFocus()) << name;
    }
}

TEST_F(DownloadsWindowTest, KeysSelectFromWhereTheListIs) {
    for (const auto key : {Qt::Key_Down, Qt::Key_Up}) {
        view.clearSelection();
        // As the first focus leaves it.
        view.selectionModel()->setCurrentIndex(view.model()->index(0, 0), QItemSelectionModel::NoUpdate);
        press(key);
        EXPECT_EQ(view.selectionModel()->selectedRows().value(0).row(), 0);
    }
    press(Qt::Key_End);
    EXPECT_EQ(view.currentIndex().row(), view.model()->rowCount() - 1);
    QTest::keyClicks(&view, "holiday v");
    EXPECT_EQ(current(), 2) << "space belongs to the name";
    EXPECT_THAT(files, IsEmpty());
}

TEST_F(DownloadsWindowTest, ARowsButtonDoesWithoutASelection) {
    choose(6);
    const auto click = [&](std::int64_t id, int button = 0) {
        const auto found =
            view.model()->match(view.model()->index(0, 0), DownloadsModel::IdRole, qlonglong{id});
        view.scrollTo(found.at(0));
        QRect place = view.visualRect(found.at(0));
        while (!view.indexAt(place.topLeft()).isValid() && place.height() > 0) { // its group's heading
            place.setTop(place.top() + 1);
        }
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {},
                          {place.right() - 20 - 28 * button, place.top() + 22});
        list.refresh();
    };
    click(7);
    EXPECT_EQ(list.engine.state(7_id), "paused");
    click(1);
    EXPECT_NE(list.engine.state(1_id), "paused");
    click(2);
    click(2, 1);
    EXPECT_THAT(files, ElementsAre("show file:///downloads/holiday%20video.mp4",
                                   "open file:///downloads/holiday%20video.mp4"));
    click(7, 1);
    EXPECT_FALSE(isThere(7)) << "it is paused by now";
    EXPECT_EQ(current(), 6);
}

TEST_F(DownloadsWindowTest, ButtonsAndFilterFitTheWidth) {
    int labels = -1;
    for (const int width : {420, 980, 1900}) {
        window.resize(width, 600);
        list.refresh();
        int now = 0;
        for (const auto* const button : window.findChildren<QToolButton*>(QRegularExpression("^button-"))) {
            now += button->isVisible() && button->toolButtonStyle() != Qt::ToolButtonIconOnly ? 1 : 0;
            EXPECT_TRUE(!button->isVisible() || button->width() >= button->sizeHint().width())
                << width << ": " << button->objectName().toStdString();
        }
        EXPECT_GT(now, labels) << width;
        labels = now;
        const auto& menu = part<QToolButton>(window, "filter-menu");
        EXPECT_EQ(menu.isVisible(), width == 420);
        EXPECT_EQ(menu.isVisible(), part<QTabBar>(window, "filter").isHidden());
    }
    part<QToolButton>(window, "filter-menu").menu()->actions().last()->trigger();
    EXPECT_EQ(view.model()->rowCount(), 2);
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
    EXPECT_THAT(files, Contains("trash file:///downloads/doubtful.exe"));
}

TEST_F(DownloadsWindowTest, SeesThatAFinishedFileIsGone) {
    list.files.gone->insert("/downloads/holiday video.mp4");
    choose(2);
    const auto& open = part<QAction>(window, "open");
    EXPECT_TRUE(open.isVisible()) << "nobody has looked yet";
    EXPECT_TRUE(QTest::qWaitFor([&] { return !open.isVisible(); }));
    EXPECT_FALSE(part<QAction>(window, "show").isVisible() ||
                 part<QAction>(window, "remove-file").isVisible());
    EXPECT_TRUE(view.currentIndex().data(DownloadsModel::LineRole).toString().startsWith("Moved or deleted"));
    EXPECT_NE(said(window, "file-gone"), "");
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

/// Shown numbers in order.
std::vector<std::int64_t> shown(const DownloadsFilter& filter) {
    std::vector<std::int64_t> ids;
    for (int row = 0; row < filter.rowCount(); ++row) {
        ids.push_back(filter.index(row, 0).data(DownloadsModel::IdRole).toLongLong());
    }
    return ids;
}

struct Models {
    explicit Models(DownloadManager& manager) : model(manager) { model.refresh(); }
    DownloadsModel model;
    DownloadsFilter filter{model};
    QAbstractItemModelTester tester{&filter, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST(DownloadsFilter, FindsByStateAndWords) {
    SampleList list;
    Models models(*list.engine.manager);
    const std::tuple<StateGroup, const char*, std::vector<std::int64_t>> rows[] = {
        {StateGroup::all, "", {1, 2, 3, 4, 5, 6, 7, 8}},
        {StateGroup::attention, "", {3, 4, 8}},
        {StateGroup::finished, "", {2, 8}},
        {StateGroup::all, "systeme DÉBUT", {1}},
        {StateGroup::all, "c.example 10", {5}},
    };
    for (const auto& [group, search, expected] : rows) {
        models.filter.setGroup(group);
        models.filter.setSearch(search);
        EXPECT_EQ(shown(models.filter), expected) << static_cast<int>(group) << " " << search;
    }
    EXPECT_EQ(models.model.summary().attention, 3);
}

std::vector<DownloadID> ids(const DownloadManager& manager) {
    std::vector<DownloadID> all;
    std::ranges::transform(manager.downloads(), std::back_inserter(all), &Download::id);
    return all;
}

/// However the list changes, what is shown is what starting over would show.
TEST(DownloadsFilter, FollowsTheListAsIfItStartedOver) {
    SampleList list;
    Models models(*list.engine.manager);
    DownloadManager& manager = *list.engine.manager;
    std::mt19937 random(7);
    const auto pick = [&](std::size_t count) { return static_cast<int>(random() % count); };
    const std::function<void(DownloadID)> changes[] = {
        [&](auto) {
            for (int i = pick(50) == 0 ? 90 : 3; i > 0; --i) {
                list.engine.add("http://a.example/new.zip");
            }
        },
        [&](auto id) { manager.remove(id); },
        [&](auto id) { manager.removeForNow({id}); },
        [&](auto) {
            std::vector<DownloadID> some;
            std::ranges::copy_if(ids(manager), std::back_inserter(some), [&](auto) { return pick(2) == 0; });
            manager.removeForNow(some);
        },
        [&](auto) { manager.undoRemoval(); },
        [&](auto id) { manager.pause(id); },
        [&](auto id) { manager.resume(id); },
        [&](auto) { models.filter.setGroup(static_cast<StateGroup>(pick(6))); },
        [&](auto) {
            models.filter.setOrder(static_cast<Order>(pick(DownloadsFilter::orders)), pick(2) == 0);
        },
    };
    for (int step = 0; step < 300; ++step) {
        const auto all = manager.downloads();
        const DownloadID id =
            all.empty() ? DownloadID{} : all[static_cast<std::size_t>(pick(all.size()))]->id();
        changes[pick(std::size(changes))](id);
        if (pick(3) > 0) {
            continue; // several changes in one refresh
        }
        list.engine.turns();
        models.model.refresh();
        Models afresh(manager);
        afresh.filter.setGroup(models.filter.group());
        afresh.filter.setOrder(models.filter.order(), models.filter.descending());
        ASSERT_EQ(shown(models.filter), shown(afresh.filter)) << step;
    }
}

/// Of which what is on the volume "/hung" is told only after a while.
struct HangingFiles : FakeFileActions {
    [[nodiscard]] IsGone isGone() const override {
        return [asked = asked, goOn = goOn](const URL& file) {
            ++*asked;
            if (file.path().starts_with("/hung/")) {
                goOn->wait();
            }
            return true;
        };
    }
    std::shared_ptr<std::atomic<int>> asked = std::make_shared<std::atomic<int>>(0);
    std::shared_ptr<std::latch> goOn = std::make_shared<std::latch>(1);
};

TEST(GoneFiles, AVolumeThatHangsHoldsUpNoOtherAndIsAskedOnce) {
    const HangingFiles files;
    GoneFiles gone(files);
    const auto finished = [](std::int64_t id, const char* path) {
        auto record = savedRecord(id, "http://a.example/f", DownloadState::Finished());
        record.file = URL::file(path);
        return Download(record);
    };
    const auto first = finished(1, "/hung/a");
    const auto second = finished(2, "/hung/b");
    EXPECT_FALSE(gone.isGone(first));
    EXPECT_TRUE(QTest::qWaitFor([&] { return *files.asked == 1; }));
    for (std::int64_t id = 3; id < 6; ++id) {
        const auto other = finished(id, ("/disk" + std::to_string(id) + "/f").c_str());
        EXPECT_FALSE(gone.isGone(second));
        EXPECT_TRUE(QTest::qWaitFor([&] { return gone.isGone(other); })) << "while that hangs";
    }
    EXPECT_EQ(*files.asked, 4);
    files.goOn->count_down();
    EXPECT_TRUE(QTest::qWaitFor([&] { return gone.isGone(first) && gone.isGone(second); }));
}

} // namespace
