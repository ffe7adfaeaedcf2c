// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QHash>
#include <QIcon>
#include <QStyledItemDelegate>

class QLineEdit;

namespace fluvane {

/// All of a file name but its ending.
void selectStem(QLineEdit& field);

/// Draws a link in two lines: its file's name with what is special about it, and where it comes from and goes
/// to.
class LinkDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    /// Over the name, with all but its ending selected.
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& given,
                              const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    mutable QHash<QString, QIcon> icons_; ///< By name: reading one takes longer than drawing a row.
};

} // namespace fluvane
