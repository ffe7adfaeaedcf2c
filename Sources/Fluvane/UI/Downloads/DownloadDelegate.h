// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QStyledItemDelegate>

#include <map>
#include <utility>

namespace fluvane {

/// Draws a row of a DownloadsModel: the kind's icon, name, progress bar, line in words, the state's icon.
/// Under the pointer the last one gives way to a button for what the row offers to do. All rows are of one
/// height.
class DownloadDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

    /// The row's button was clicked.
    Q_SIGNAL void actionWanted(const QModelIndex& index);

private:
    struct Look;
    struct Places;

    [[nodiscard]] static Look look(const QStyleOptionViewItem& option, const QModelIndex& index);
    [[nodiscard]] static Places places(const QStyleOptionViewItem& option, bool hasBar);
    [[nodiscard]] static QRect button(const QStyleOptionViewItem& option, const QModelIndex& index);
    void paintButton(QPainter& painter, const Look& look, const QStyleOptionViewItem& option,
                     const QModelIndex& index) const;
    static void paintGround(QPainter& painter, const QStyleOptionViewItem& option);
    void paintTop(QPainter& painter, const Look& look, const Places& places, const QModelIndex& index,
                  bool hasButton) const;
    [[nodiscard]] const QIcon& icon(const QString& name, const QColor& color) const;

    mutable std::map<std::pair<QString, QRgb>, QIcon>
        icons_; ///< Reading one from its file takes longer than painting it.
};

} // namespace fluvane
