// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/DownloadsModel.h"

#include <QAbstractProxyModel>
#include <QStringList>

#include <cstdint>
#include <utility>
#include <vector>

namespace fluvane {

/// The rows of a DownloadsModel that are wanted, in the order wanted. Changing what is wanted resets the
/// rows, so that any list is searched within a frame; changes of the downloads are told one by one.
class DownloadsFilter : public QAbstractProxyModel {
    Q_OBJECT

public:
    enum Role {
        HeadingRole =
            DownloadsModel::RoleCount, ///< The name of the group that begins with the row; or invalid.
    };
    enum class Order { added, name, size, progress, speed, state, finished };
    static constexpr int orders = 7;

    explicit DownloadsFilter(DownloadsModel& model, QObject* parent = nullptr);

    [[nodiscard]] StateGroup group() const { return group_; }
    [[nodiscard]] Order order() const { return order_; }
    [[nodiscard]] bool descending() const { return descending_; }
    [[nodiscard]] const QString& search() const { return search_; }
    void setGroup(StateGroup group);
    void setOrder(Order order, bool descending);
    /// Every word of it must be in the name or in the link's host; accents and case don't matter.
    void setSearch(const QString& search);

    /// Of what fits the search, whatever the group.
    [[nodiscard]] DownloadsModel::Summary summary() const;
    /// Of the same, the finished ones that need nobody's attention.
    [[nodiscard]] std::vector<DownloadID> finished() const;
    [[nodiscard]] bool hasFinished() const;

    [[nodiscard]] DownloadID idAt(int row) const;
    /// Invalid when it isn't shown.
    [[nodiscard]] QModelIndex indexOf(DownloadID id) const;

    /// Other rows begin a group than did, and nothing else tells of it.
    Q_SIGNAL void headingsChanged();

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QModelIndex mapToSource(const QModelIndex& index) const override;
    [[nodiscard]] QModelIndex mapFromSource(const QModelIndex& source) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& index) const override;

private:
    [[nodiscard]] bool wanted(int source) const;
    [[nodiscard]] bool fitsSearch(int source) const;
    [[nodiscard]] bool isDone(int source) const;
    [[nodiscard]] bool before(int a, int b) const;
    [[nodiscard]] int shownAt(int source) const { return shown_[static_cast<std::size_t>(source)]; }
    void arrange();
    void findHeadings();
    void number();
    void rebuild();
    void touch(int first, int last);
    void sourceInserted(int first, int last);
    void sourceRemoving(int first, int last);
    void sourceRemoved(int first, int last);
    void take(int row);
    void catchUp();
    void tell(const std::vector<int>& touched);
    void putInOrder();

    DownloadsModel& model_;
    std::vector<int> rows_;  ///< Rows of the model, as shown.
    std::vector<int> shown_; ///< Where each row of the model is shown; -1: it isn't.
    std::vector<std::pair<int, StateGroup>>
        headings_; ///< The rows that groups begin with, when they are told.
    StateGroup group_ = StateGroup::all;
    Order order_ = Order::added;
    bool descending_ = false;
    QString search_;
    QStringList words_;
    std::vector<int> touched_; ///< Rows of the model that changed during its refresh.
    bool resetting_ = false;
};

} // namespace fluvane
