// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadDelegate.h"

#include "Fluvane/UI/Downloads/ProgressBar.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/Phrases.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QHelpEvent>
#include <QListView>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
#include <optional>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;

using tessivar::marked;

namespace spacing = tessivar::spacing;

namespace {

constexpr int kindSide = 24;
constexpr int stateSide = 16;
constexpr int inset = 16; ///< From the row's edges to what is drawn.
constexpr int barHeight = 6;
constexpr int gap = 5; ///< Around the bar.

QString percent(const QModelIndex& index) {
    const QVariant done = index.data(DownloadsModel::FractionRole);
    const bool wanted = index.data(DownloadsModel::HasBarRole).toBool() && done.isValid();
    return wanted ? QString::fromStdString(words::percent(done.toDouble())) : QString();
}

/// The icon of what a row offers to do, and what it is called; null for nothing.
struct Offer {
    const char* icon;
    const char* name;
};
Offer offered(const QModelIndex& index) {
    switch (index.data(DownloadsModel::ActionRole).value<RowAction>()) {
    case RowAction::pause:
        return {"pause", marked("Pause")};
    case RowAction::resume:
        return {"play", marked("Resume")};
    case RowAction::tryAgain:
        return {"retry", marked("Try Again")};
    case RowAction::show:
        return {"folder", marked("Show in Folder")};
    case RowAction::none:
        break;
    }
    return {nullptr, nullptr};
}

/// What is laid over a row. Selection is a tint, so that icons, bars and words keep their colours.
std::optional<QColor> tint(const QStyleOptionViewItem& option) {
    const bool selected = option.state & QStyle::State_Selected;
    if (!selected && !(option.state & QStyle::State_MouseOver)) {
        return std::nullopt;
    }
    QColor over = option.palette.color(selected ? QPalette::Highlight : QPalette::Text);
    const bool active = option.state & QStyle::State_Active;
    over.setAlphaF(!selected ? 0.04F : active ? 0.20F : 0.12F);
    return over;
}

} // namespace

struct DownloadDelegate::Look {
    QFont font;
    QColor text;
    QColor quiet;
    QColor warning;
    Qt::LayoutDirection direction;
};

/// Where things go, for a layout from left to right.
struct DownloadDelegate::Places {
    QRect kind, name, state, bar, line;
};

DownloadDelegate::Look DownloadDelegate::look(const QStyleOptionViewItem& option, const QModelIndex&) {
    const QPalette& palette = option.palette;
    const QColor base = palette.color(QPalette::Base);
    const QColor over = tint(option).value_or(Qt::transparent);
    const auto mixed = [&over](int below, int above) { return below + (above - below) * over.alpha() / 255; };
    const QColor ground(mixed(base.red(), over.red()), mixed(base.green(), over.green()),
                        mixed(base.blue(), over.blue()));
    return {.font = option.font,
            .text = palette.color(QPalette::Text),
            .quiet = tessivar::readable(tessivar::quietText(palette), {.ground = ground}),
            .warning = tessivar::readable(QColor(0xC0, 0x1C, 0x28), {.ground = ground}),
            .direction = option.direction};
}

DownloadDelegate::Places DownloadDelegate::places(const QStyleOptionViewItem& option, bool hasBar) {
    const QRect row = option.rect.adjusted(inset, 0, -inset, 0);
    const int text = option.fontMetrics.height();
    const int height = 2 * text + (hasBar ? barHeight + 2 * gap : spacing::small);
    const int left = row.left() + kindSide + inset;
    const int width = std::max(row.right() + 1 - left, 0);
    int top = row.top() + (row.height() - height) / 2;
    Places places;
    places.kind = QRect(row.left(), row.top() + (row.height() - kindSide) / 2, kindSide, kindSide);
    places.name = QRect(left, top, width, text);
    places.state = QRect(row.right() + 1 - stateSide, top + (text - stateSide) / 2, stateSide, stateSide);
    top += text + (hasBar ? gap : spacing::small);
    if (hasBar) {
        places.bar = QRect(left, top, width, barHeight);
        top += barHeight + gap;
    }
    places.line = QRect(left, top, width, text);
    for (QRect* const place : {&places.kind, &places.name, &places.state, &places.bar, &places.line}) {
        *place = QStyle::visualRect(option.direction, option.rect, *place);
    }
    return places;
}

QSize DownloadDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const {
    const int text = 2 * option.fontMetrics.height() + barHeight + 2 * gap;
    return {0, std::max(text, kindSide) + 2 * spacing::medium + 2};
}

const QIcon& DownloadDelegate::icon(const QString& name, const QColor& color) const {
    const auto key = std::pair(name, color.rgb());
    auto found = icons_.find(key);
    if (found == icons_.end()) {
        found = icons_.emplace(key, tessivar::icon(name, color)).first;
    }
    return found->second;
}

void DownloadDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                             const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    option.font = option.widget ? option.widget->font() : given.font;
    const bool hasBar = index.data(DownloadsModel::HasBarRole).toBool();
    const Look how = look(option, index);
    const Places where = places(option, hasBar);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setLayoutDirection(option.direction);
    painter->setFont(how.font);
    paintGround(*painter, option);
    icon(index.data(DownloadsModel::KindIconRole).toString(), how.quiet).paint(painter, where.kind);
    const bool hasButton = (option.state & QStyle::State_MouseOver) && offered(index).icon;
    paintTop(*painter, how, where, index, hasButton);
    if (hasButton) {
        paintButton(*painter, how, option, index);
    }
    if (hasBar) {
        const QVariant done = index.data(DownloadsModel::FractionRole);
        paintProgress(*painter, where.bar, option.palette, option.direction,
                      {.state = index.data(DownloadsModel::StateRole).value<StateKind>(),
                       .fraction = done.isValid() ? std::optional(done.toDouble()) : std::nullopt,
                       .step = index.data(DownloadsModel::StepRole).toInt()});
    }
    const bool warns = index.data(DownloadsModel::AttentionRole).toBool();
    painter->setPen(warns ? how.warning : how.quiet);
    const QString line = index.data(DownloadsModel::LineRole).toString();
    painter->drawText(where.line, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(line, Qt::ElideRight, where.line.width()));
    painter->restore();
}

/// The name with its mark, and how far it got and its state at the other end.
void DownloadDelegate::paintTop(QPainter& painter, const Look& look, const Places& places,
                                const QModelIndex& index, bool hasButton) const {
    const QFontMetrics metrics(look.font);
    const bool leftToRight = look.direction == Qt::LeftToRight;
    const auto shorten = [leftToRight](QRect& place, int by) {
        leftToRight ? place.setRight(place.right() - by) : place.setLeft(place.left() + by);
    };
    const QString state = index.data(DownloadsModel::StateIconRole).toString();
    const bool warns = index.data(DownloadsModel::AttentionRole).toBool();
    if (!hasButton) {
        icon(state, warns ? look.warning : look.quiet).paint(&painter, places.state);
    }
    QRect rest = places.name;
    shorten(rest, stateSide + spacing::medium);
    if (const QString done = percent(index); !done.isEmpty()) {
        painter.setPen(look.quiet);
        painter.drawText(rest, Qt::AlignTrailing | Qt::AlignVCenter | Qt::TextSingleLine, done);
        shorten(rest, metrics.horizontalAdvance("100 %") + spacing::large);
    }
    const bool prioritized = index.data(DownloadsModel::PrioritizedRole).toBool();
    if (prioritized) {
        shorten(rest, stateSide + spacing::small);
    }
    painter.setPen(look.text);
    const QString name =
        metrics.elidedText(index.data().toString(), Qt::ElideMiddle, std::max(rest.width(), 0));
    painter.drawText(rest, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine, name);
    if (prioritized) {
        const int after = std::min(metrics.horizontalAdvance(name), rest.width()) + spacing::small;
        const int left = leftToRight ? rest.left() + after : rest.right() - after - stateSide;
        icon("prioritize", look.text).paint(&painter, QRect(left, places.state.top(), stateSide, stateSide));
    }
}

/// In the place of the state's icon, as big as a pointer needs.
QRect DownloadDelegate::button(const QStyleOptionViewItem& option, const QModelIndex& index) {
    const QRect state = places(option, index.data(DownloadsModel::HasBarRole).toBool()).state;
    return state.adjusted(-spacing::small, -3, spacing::small, 3);
}

void DownloadDelegate::paintButton(QPainter& painter, const Look& look, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
    const QRect place = button(option, index);
    QColor ground = look.text;
    ground.setAlphaF(0.10F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(place, 5, 5);
    const QRect picture(place.center() - QPoint(stateSide / 2 - 1, stateSide / 2 - 1),
                        QSize(stateSide, stateSide));
    icon(offered(index).icon, look.text).paint(&painter, picture);
}

/// A press on the button neither selects the row nor begins to drag it.
bool DownloadDelegate::editorEvent(QEvent* event, QAbstractItemModel* model,
                                   const QStyleOptionViewItem& option, const QModelIndex& index) {
    const auto kind = event->type();
    const bool isMouse = kind == QEvent::MouseButtonPress || kind == QEvent::MouseButtonRelease ||
                         kind == QEvent::MouseButtonDblClick;
    const auto* const mouse = isMouse ? static_cast<QMouseEvent*>(event) : nullptr;
    if (!mouse || mouse->button() != Qt::LeftButton || !offered(index).icon ||
        !button(option, index).contains(mouse->position().toPoint())) {
        return QStyledItemDelegate::editorEvent(event, model, option, index);
    }
    if (kind == QEvent::MouseButtonRelease) {
        Q_EMIT actionWanted(index);
    }
    return true;
}

bool DownloadDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                 const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (event->type() == QEvent::ToolTip && offered(index).icon &&
        button(option, index).contains(event->pos())) {
        QToolTip::showText(event->globalPos(), qPhrase(offered(index).name), view);
        return true;
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}

void DownloadDelegate::paintGround(QPainter& painter, const QStyleOptionViewItem& option) {
    const QRectF row = QRectF(option.rect).adjusted(4, 1, -4, -1);
    if (const auto over = tint(option)) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(*over);
        painter.drawRoundedRect(row, 6, 6);
    }
    if (option.state & QStyle::State_HasFocus) {
        painter.setPen(QPen(option.palette.color(QPalette::Highlight), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(row.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    }
}

} // namespace fluvane
