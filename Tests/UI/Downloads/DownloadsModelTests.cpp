// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"
#include "SampleList.h"

#include <QAbstractItemModelTester>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QUrl>

#include <gmock/gmock.h>

#include <memory>
#include <random>

using namespace fluvane;
using namespace fluvane::support;
using Order = DownloadsFilter::Order;
using testing::ElementsAre;

namespace {

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
    [[nodiscard]] std::string text(DownloadID id, int role = DownloadsModel::LineRole) const {
        return filter.indexOf(id).data(role).toString().toStdString();
    }
    DownloadsModel model;
    DownloadsFilter filter{model};
    QAbstractItemModelTester tester{&filter, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST(DownloadsFilter, FindsByStateAndWords) {
    SampleList list;
    Models models(*list.engine.manager);
    const struct {
        StateGroup group;
        const char* search;
        std::vector<std::int64_t> expected;
    } rows[] = {
        {StateGroup::all, "", {1, 2, 3, 4, 5, 6, 7, 8}},
        {StateGroup::running, "", {7}},
        {StateGroup::waiting, "", {5, 6}},
        {StateGroup::paused, "", {1}},
        {StateGroup::attention, "", {3, 4, 8}},
        {StateGroup::finished, "", {2, 8}},
        {StateGroup::all, "systeme DÉBUT", {1}},
        {StateGroup::all, "iso système", {1}},
        {StateGroup::all, "c.example 10", {5}},
        {StateGroup::finished, "zip", {}},
    };
    for (const auto& [group, search, expected] : rows) {
        models.filter.setGroup(group);
        models.filter.setSearch(search);
        EXPECT_EQ(shown(models.filter), expected) << static_cast<int>(group) << " " << search;
        if (*search == '\0') {
            EXPECT_EQ(models.model.summary().in(group), std::ssize(expected)) << static_cast<int>(group);
        }
    }
}

TEST(DownloadsFilter, Orders) {
    SampleList list;
    list.run();
    Models models(*list.engine.manager);
    const std::pair<Order, std::vector<std::int64_t>> rows[] = {
        {Order::added, {1, 2, 3, 4, 5, 6, 7, 8}},
        {Order::name, {4, 8, 2, 3, 7, 1, 6, 5}}, // track9 before track10
        {Order::size, {5, 6, 2, 8, 3, 7, 4, 1}},
        {Order::speed, {1, 2, 3, 4, 5, 6, 8, 7}},
        {Order::finished, {1, 3, 4, 5, 6, 7, 2, 8}},
    };
    for (const auto& [order, expected] : rows) {
        models.filter.setOrder(order, false);
        EXPECT_EQ(shown(models.filter), expected) << static_cast<int>(order);
    }
    models.filter.setOrder(Order::finished, true);
    EXPECT_THAT(shown(models.filter).front(), 8);
}

TEST(DownloadsModel, TellsOnlyWhatChanged) {
    SampleList list;
    Models models(*list.engine.manager);
    QSignalSpy changes(&models.model, &QAbstractItemModel::dataChanged);
    models.model.refresh();
    EXPECT_EQ(changes.count(), 0);
    list.run();
    models.model.refresh();
    ASSERT_EQ(changes.count(), 1);
    EXPECT_EQ(changes[0][0].toModelIndex().row(), 6);
    list.engine.manager->downloadNext(6_id);
    models.model.refresh();
    EXPECT_EQ(models.text(6_id), "Number 1 in line");
    EXPECT_EQ(models.text(5_id), "Number 2 in line");
    EXPECT_EQ(models.text(7_id, Qt::AccessibleTextRole),
              "run.bin: 6 %, 12 MB of 200 MB, 6.4 MB/s, about 30 seconds left, 2 "
              "connections, prioritized");
}

TEST(DownloadsModel, TellsWhyAndWhenADownloadIsTriedAgain) {
    SampleList list;
    Models models(*list.engine.manager);
    list.engine.transport->live().front()->respond(503, {{"Retry-After", "40"}});
    models.model.refresh();
    EXPECT_EQ(models.text(7_id), "The server is busy (503). Trying again in about 40 seconds.");
    QSignalSpy changes(&models.model, &QAbstractItemModel::dataChanged);
    models.model.refresh();
    EXPECT_EQ(changes.count(), 0);
    list.engine.scheduler.runFor(39);
    models.model.refresh();
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(models.model.summary().waiting, 3) << "it doesn't run";
}

TEST(DownloadsModel, FinishedFilesCanBeDraggedOutWhileTheyAreThere) {
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    WindowBench bench;
    auto there = SampleList::finished(1, "http://a.example/f");
    there.file = URL::file(file.fileName().toStdString());
    there.folder = URL::folder(dataFolders::home() + "/films");
    there.completed.reset();
    bench.engine.store->saved = {there, SampleList::finished(2, "http://a.example/gone"),
                                 savedRecord(3, "http://a.example/p", DownloadState::Paused{})};
    bench.engine.manager->start();
    Models models(*bench.engine.manager);
    EXPECT_EQ(models.text(1_id), "5 MB, in ~/films");
    const std::unique_ptr<QMimeData> data(models.filter.mimeData(
        {models.filter.indexOf(1_id), models.filter.indexOf(2_id), models.filter.indexOf(3_id)}));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->urls(), QList<QUrl>{QUrl::fromLocalFile(file.fileName())});
    EXPECT_EQ(models.filter.mimeData({models.filter.indexOf(2_id)}), nullptr);
    EXPECT_FALSE(models.filter.flags(models.filter.indexOf(3_id)) & Qt::ItemIsDragEnabled);
}

/// However the list changes, what is shown is what starting over would show.
TEST(DownloadsFilter, FollowsTheListAsIfItStartedOver) {
    SampleList list;
    Models models(*list.engine.manager);
    DownloadManager& manager = *list.engine.manager;
    std::mt19937 random(7);
    const auto pick = [&](std::size_t count) { return static_cast<int>(random() % count); };
    for (int step = 0; step < 300; ++step) {
        const auto all = manager.downloads();
        const DownloadID id =
            all.empty() ? DownloadID{} : all[static_cast<std::size_t>(pick(all.size()))]->id();
        switch (pick(7)) {
        case 0:
        case 1:
            for (int i = pick(100) == 0 ? 90 : 2; i > 0; --i) {
                list.engine.add("http://a.example/new" + std::to_string(step) + ".zip");
            }
            break;
        case 2:
            manager.remove(id);
            break;
        case 3:
            manager.pause(id);
            break;
        case 4:
            manager.resume(id);
            break;
        case 5:
            models.filter.setGroup(static_cast<StateGroup>(pick(6)));
            break;
        case 6:
            models.filter.setOrder(static_cast<Order>(pick(DownloadsFilter::orders)), pick(2) == 0);
            break;
        }
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

} // namespace
