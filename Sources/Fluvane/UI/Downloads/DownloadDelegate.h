// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Downloads/RowPlaces.h"
#include "Fluvane/UI/Models/DownloadsModel.h"

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QStyledItemDelegate>

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace fluvane {

/// Draws a row of a DownloadsFilter: the kind's icon, name, progress bar, line in words, the state's icon.
/// Under the pointer, and in the row that the keyboard is in, the last one gives way to buttons for what the
/// row offers to do. The first row of a group has the group's name above it.
class DownloadDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// How far a row's bar is drawn, where that isn't yet how far the download is.
    std::function<double(const QModelIndex& index, double fraction)> shownFraction;
    void setRowSize(RowSize size) { size_ = size; }
    [[nodiscard]] RowPlaces places(const QStyleOptionViewItem& option, const QModelIndex& index) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

    /// One of the row's buttons was clicked.
    Q_SIGNAL void actionWanted(const QModelIndex& index, fluvane::RowAction action);

private:
    struct Look;

    [[nodiscard]] static Look look(const QStyleOptionViewItem& option, const QColor& ground);
    struct Button;
    [[nodiscard]] std::vector<Button> buttons(const QModelIndex& index, const RowPlaces& places) const;
    [[nodiscard]] std::optional<Button> buttonAt(const QPoint& point, const QStyleOptionViewItem& option,
                                                 const QModelIndex& index) const;
    void paintButton(QPainter& painter, const Look& look, const Button& button) const;
    void paintBar(QPainter& painter, const Look& look, const QRect& place, const QModelIndex& index) const;
    void paintName(QPainter& painter, const Look& look, const RowPlaces& places,
                   const QModelIndex& index) const;
    [[nodiscard]] const QIcon& icon(const QString& name, const QColor& color) const;

    RowSize size_ = RowSize::full;
    QPersistentModelIndex pressed_; ///< The row whose button is held down,
    RowAction pressedAction_{};     ///< and which one.
    mutable std::map<std::pair<QString, QRgb>, QIcon>
        icons_; ///< Reading one from its file takes longer than painting it.
};

} // namespace fluvane
