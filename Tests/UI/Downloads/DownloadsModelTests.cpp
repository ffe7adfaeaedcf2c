// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/DownloadsFilter.h"
#include "SampleList.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <functional>
#include <random>

using namespace fluvane;
using namespace fluvane::support;
using Order = DownloadsFilter::Order;

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
        {StateGroup::waiting, "", {5, 6}},
        {StateGroup::attention, "", {3, 4, 8}},
        {StateGroup::finished, "", {2, 8}},
        {StateGroup::all, "systeme DÉBUT", {1}},
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

TEST(DownloadsModel, TellsOnlyWhatChanged) {
    SampleList list;
    Models models(*list.engine.manager);
    QSignalSpy changes(&models.model, &QAbstractItemModel::dataChanged);
    models.model.refresh();
    EXPECT_EQ(changes.count(), 0);
    list.engine.manager->downloadNext(6_id);
    models.model.refresh();
    EXPECT_EQ(models.filter.indexOf(6_id).data(DownloadsModel::LineRole), "Number 1 in line");
    EXPECT_EQ(changes.count(), 1);
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

} // namespace
