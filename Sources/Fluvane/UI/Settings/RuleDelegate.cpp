// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/RuleDelegate.h"

#include "Fluvane/UI/Models/RulesModel.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RowGround.h"
#include "Tessivar/Windows/Spacing.h"

#include <QPainter>

namespace fluvane {

namespace spacing = tessivar::spacing;

namespace {

constexpr int iconSide = 20;

void drawLine(QPainter& painter, const QStyleOptionViewItem& option, const QRect& rect, const QString& text) {
    painter.drawText(rect, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                     option.fontMetrics.elidedText(text, Qt::ElideMiddle, rect.width()));
}

} // namespace

void RuleDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QColor ground = tessivar::paintRowGround(*painter, option, option.rect);
    const QRect content = option.rect.adjusted(spacing::medium, spacing::small, -spacing::medium, 0);
    const QRect mark(content.left(), content.center().y() - iconSide / 2, iconSide, iconSide);
    const int indent = iconSide + spacing::medium;
    const QRect text = content.adjusted(indent, 0, 0, 0);
    const QRect first(text.topLeft(), QSize(text.width(), option.fontMetrics.height()));
    const auto placed = [&](const QRect& rect) {
        return QStyle::visualRect(option.direction, option.rect, rect);
    };
    tessivar::icon(index.data(RulesModel::IconRole).toString()).paint(painter, placed(mark));
    painter->setPen(option.palette.color(QPalette::Text));
    drawLine(*painter, option, placed(first), index.data().toString());
    painter->setPen(tessivar::readable(tessivar::quietText(option.palette), {ground}));
    drawLine(*painter, option, placed(first.translated(0, first.height() + spacing::hair)),
             index.data(RulesModel::EffectRole).toString());
    painter->restore();
}

QSize RuleDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const int lines = 2 * option.fontMetrics.height() + spacing::hair;
    return {QStyledItemDelegate::sizeHint(option, index).width(), lines + 2 * spacing::small};
}

} // namespace fluvane
