// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/LinkDelegate.h"

#include "Fluvane/UI/NewDownload/LinksModel.h"
#include "FluvaneCore/FileName.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RowGround.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QApplication>
#include <QLineEdit>
#include <QPainter>
#include <QTimer>

namespace fluvane {

namespace spacing = tessivar::spacing;

namespace {

constexpr int iconSize = 20;

struct Line {
    QRect place;
    QColor color;
    Qt::TextElideMode elide;
    Qt::Alignment side;
};

void draw(QPainter& painter, const QString& text, const Line& line) {
    painter.setPen(line.color);
    painter.drawText(
        line.place, int(line.side | Qt::AlignVCenter | Qt::AlignAbsolute) | Qt::TextSingleLine,
        tessivar::qIsolated(painter.fontMetrics().elidedText(text, line.elide, line.place.width())));
}

} // namespace

void selectStem(QLineEdit& field) {
    const auto stem = fileName::split(field.text().toStdString()).stem;
    field.setSelection(0, static_cast<int>(QString::fromStdString(stem).size()));
}

/// The style draws the check box and the icon and knows where they are; the text is ours.
void LinkDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->features |= QStyleOptionViewItem::HasDecoration;
    QIcon& icon = icons_[index.data(LinksModel::IconRole).toString()];
    if (icon.isNull()) {
        icon = tessivar::icon(index.data(LinksModel::IconRole).toString());
    }
    option->icon = icon;
    option->decorationSize = QSize(iconSize, iconSize);
}

void LinkDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                         const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const QString name = option.text;
    const QStyle* const style = option.widget ? option.widget->style() : QApplication::style();
    const QRect place = style->subElementRect(QStyle::SE_ItemViewItemText, &option, option.widget)
                            .adjusted(spacing::small, spacing::small, -spacing::margin, -spacing::small);
    option.text.clear();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QColor ground = tessivar::paintRowGround(*painter, option, option.rect);
    option.state &= ~(QStyle::State_Selected | QStyle::State_MouseOver | QStyle::State_HasFocus);
    style->drawControl(QStyle::CE_ItemViewItem, &option, painter, option.widget);
    const QColor quiet = tessivar::readable(tessivar::quietText(option.palette), {ground});
    painter->setFont(option.font);
    const Qt::Alignment start = option.direction == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft;
    const Qt::Alignment end = start == Qt::AlignLeft ? Qt::AlignRight : Qt::AlignLeft;
    QRect first(place.left(), place.top(), place.width(), place.height() / 2);
    const QRect second(place.left(), first.bottom() + 1, place.width(), place.height() - first.height());
    const QString mark = index.data(LinksModel::MarkRole).toString();
    if (!mark.isEmpty()) {
        const int width =
            std::min(option.fontMetrics.horizontalAdvance(mark) + spacing::hair, place.width() / 2);
        const QRect markPlace(end == Qt::AlignRight ? place.right() + 1 - width : place.left(), first.top(),
                              width, first.height());
        draw(*painter, mark, {markPlace, quiet, Qt::ElideRight, end});
        first.adjust(end == Qt::AlignLeft ? width + spacing::medium : 0, 0,
                     end == Qt::AlignRight ? -width - spacing::medium : 0, 0);
    }
    draw(*painter, name, {first, option.palette.color(QPalette::Text), Qt::ElideMiddle, start});
    draw(*painter, index.data(LinksModel::DetailRole).toString(), {second, quiet, Qt::ElideMiddle, start});
    painter->restore();
}

void LinkDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    QStyledItemDelegate::setEditorData(editor, index);
    if (auto* const field = qobject_cast<QLineEdit*>(editor)) {
        // The view selects all once it has opened the editor.
        QTimer::singleShot(0, field, [field] { selectStem(*field); });
    }
}

void LinkDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& given,
                                        const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const QStyle* const style = option.widget ? option.widget->style() : QApplication::style();
    const QRect place = style->subElementRect(QStyle::SE_ItemViewItemText, &option, option.widget);
    const int height = std::min(editor->sizeHint().height(), place.height());
    editor->setGeometry(place.left(), place.top(), place.width(), height);
}

QSize LinkDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const {
    return {iconSize * 4, option.fontMetrics.height() * 2 + spacing::small * 3};
}

} // namespace fluvane
