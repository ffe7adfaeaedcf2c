// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadDelegate.h"

#include "Fluvane/UI/Downloads/ProgressBar.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RowGround.h"
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
namespace side = tessivar::side;

namespace {

QString percent(const QModelIndex& index) {
    const QVariant done = index.data(DownloadsModel::FractionRole);
    const bool wanted = index.data(DownloadsModel::HasBarRole).toBool() && done.isValid();
    return wanted ? QString::fromStdString(words::percent(done.toDouble())) : QString();
}

/// The icon of an action, and what it is called; null for none.
struct Offer {
    const char* icon;
    const char* name;
};
Offer offer(RowAction action) {
    switch (action) {
    case RowAction::pause:
        return {"pause", marked("Pause")};
    case RowAction::resume:
        return {"play", marked("Resume")};
    case RowAction::tryAgain:
        return {"retry", marked("Try Again")};
    case RowAction::show:
        return {"folder", marked("Show in Folder")};
    case RowAction::open:
        return {"open", marked("Open")};
    case RowAction::remove:
        return {"remove", marked("Remove")};
    case RowAction::none:
        break;
    }
    return {nullptr, nullptr};
}

/// Ends before what stands in its line.
void endBefore(QRect& text, const QRect& other, Qt::LayoutDirection direction) {
    if (!text.intersects(other)) {
        return;
    }
    if (direction == Qt::RightToLeft) {
        text.setLeft(other.right() + spacing::small);
    } else {
        text.setRight(other.left() - spacing::small);
    }
}

/// Where the pointer is, or the keyboard.
bool isCurrent(const QStyleOptionViewItem& option) {
    return option.state & (QStyle::State_MouseOver | QStyle::State_HasFocus);
}

} // namespace

struct DownloadDelegate::Button {
    RowAction action;
    QRect icon;
    QRect place; ///< As big as a pointer needs.
};

struct DownloadDelegate::Look {
    QPalette palette;
    QColor ground;
    QColor text;
    QColor quiet;
    QColor warning;
    QFontMetrics metrics;
    Qt::LayoutDirection direction;
};

DownloadDelegate::Look DownloadDelegate::look(const QStyleOptionViewItem& option, const QColor& ground) {
    return {.palette = option.palette,
            .ground = ground,
            .text = option.palette.color(QPalette::Text),
            .quiet = tessivar::readable(tessivar::quietText(option.palette), {.ground = ground}),
            .warning = tessivar::warning({.ground = ground}),
            .metrics = QFontMetrics(option.font),
            .direction = option.direction};
}

RowPlaces DownloadDelegate::places(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return rowPlaces(option, {.size = size_,
                              .hasBar = index.data(DownloadsModel::HasBarRole).toBool(),
                              .hasHeading = index.data(DownloadsFilter::HeadingRole).isValid()});
}

QSize DownloadDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const bool hasHeading = index.data(DownloadsFilter::HeadingRole).isValid();
    return {0, rowHeight(option.fontMetrics, {.size = size_, .hasHeading = hasHeading})};
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
    RowPlaces where = places(option, index);
    const auto shown = isCurrent(option) ? buttons(index, where) : std::vector<Button>();
    for (const Button& each : shown) {
        endBefore(where.name, each.place, option.direction);
        endBefore(where.line, each.place, option.direction);
        where.mark = where.mark.intersects(each.place) ? QRect() : where.mark;
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setLayoutDirection(option.direction);
    const QColor ground = tessivar::paintRowGround(
        *painter, option, where.row.adjusted(spacing::small, 1, -spacing::small, -1));
    const Look how = look(option, ground);
    if (!where.heading.isEmpty()) {
        painter->setFont(tessivar::type::caption(option.font));
        painter->setPen(tessivar::quietText(option.palette));
        painter->drawText(where.heading.adjusted(0, 0, 0, -spacing::small),
                          Qt::AlignLeading | Qt::AlignBottom,
                          index.data(DownloadsFilter::HeadingRole).toString());
    }
    painter->setFont(option.font);
    const bool warns = index.data(DownloadsModel::AttentionRole).toBool();
    const QColor quiet = warns ? how.warning : how.quiet;
    icon(index.data(DownloadsModel::KindIconRole).toString(), how.quiet).paint(painter, where.kind);
    paintName(*painter, how, where, index);
    for (const Button& each : shown) {
        paintButton(*painter, how, each);
    }
    if (shown.empty()) {
        icon(index.data(DownloadsModel::StateIconRole).toString(), quiet).paint(painter, where.state);
    }
    painter->setPen(how.quiet);
    painter->drawText(where.mark, Qt::AlignTrailing | Qt::AlignVCenter | Qt::TextSingleLine, percent(index));
    if (!where.bar.isEmpty()) {
        paintBar(*painter, how, where.bar, index);
    }
    painter->setPen(quiet);
    const QString line = index.data(DownloadsModel::LineRole).toString();
    painter->drawText(where.line, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                      how.metrics.elidedText(line, Qt::ElideRight, where.line.width()));
    painter->restore();
}

void DownloadDelegate::paintBar(QPainter& painter, const Look& look, const QRect& place,
                                const QModelIndex& index) const {
    const QVariant done = index.data(DownloadsModel::FractionRole);
    std::optional<double> fraction;
    if (done.isValid()) {
        fraction = shownFraction ? shownFraction(index, done.toDouble()) : done.toDouble();
    }
    paintProgress(painter, place,
                  {.palette = look.palette,
                   .ground = look.ground,
                   .direction = look.direction,
                   .state = index.data(DownloadsModel::StateRole).value<StateKind>(),
                   .fraction = fraction,
                   .step = index.data(DownloadsModel::StepRole).toInt()});
}

/// With its mark, if it goes before others.
void DownloadDelegate::paintName(QPainter& painter, const Look& look, const RowPlaces& places,
                                 const QModelIndex& index) const {
    const bool prioritized = index.data(DownloadsModel::PrioritizedRole).toBool();
    const int mark = prioritized ? side::icon + spacing::small : 0;
    const int room = std::max(places.name.width() - mark, 0);
    const QString name = look.metrics.elidedText(index.data().toString(), Qt::ElideMiddle, room);
    const int width = std::min(look.metrics.horizontalAdvance(name), room);
    const auto placed = [&](int from, int length) {
        const QRect place(places.name.left() + from, places.name.top(), length, places.name.height());
        return QStyle::visualRect(look.direction, places.name, place);
    };
    painter.setPen(look.text);
    painter.drawText(placed(0, room), Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                     tessivar::qIsolated(name));
    if (prioritized) {
        icon("prioritize", look.text).paint(&painter, placed(width + spacing::small, side::icon));
    }
}

/// The first in the place of the state's icon.
std::vector<DownloadDelegate::Button> DownloadDelegate::buttons(const QModelIndex& index,
                                                                const RowPlaces& places) const {
    std::vector<Button> found;
    for (const auto& [role, icon] : {std::pair(DownloadsModel::ActionRole, places.state),
                                     std::pair(DownloadsModel::SecondActionRole, places.second)}) {
        const auto action = index.data(role).value<RowAction>();
        if (action != RowAction::none) {
            found.push_back({action, icon, icon.adjusted(-spacing::small, -3, spacing::small, 3)});
        }
    }
    return found;
}

std::optional<DownloadDelegate::Button> DownloadDelegate::buttonAt(const QPoint& point,
                                                                   const QStyleOptionViewItem& option,
                                                                   const QModelIndex& index) const {
    for (const Button& each : buttons(index, places(option, index))) {
        if (each.place.contains(point)) {
            return each;
        }
    }
    return std::nullopt;
}

void DownloadDelegate::paintButton(QPainter& painter, const Look& look, const Button& button) const {
    QColor ground = look.text;
    ground.setAlphaF(0.10F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(button.place, tessivar::radius::mark, tessivar::radius::mark);
    icon(offer(button.action).icon, look.text).paint(&painter, button.icon);
}

/// A press on a button neither selects the row nor begins to drag it.
bool DownloadDelegate::editorEvent(QEvent* event, QAbstractItemModel* model,
                                   const QStyleOptionViewItem& option, const QModelIndex& index) {
    const auto kind = event->type();
    const bool isMouse = kind == QEvent::MouseButtonPress || kind == QEvent::MouseButtonRelease ||
                         kind == QEvent::MouseButtonDblClick;
    const auto* const mouse = isMouse ? static_cast<QMouseEvent*>(event) : nullptr;
    const auto button = mouse && mouse->button() == Qt::LeftButton
                            ? buttonAt(mouse->position().toPoint(), option, index)
                            : std::nullopt;
    if (!button) {
        return QStyledItemDelegate::editorEvent(event, model, option, index);
    }
    // The second click of a double one is left out: another row may have come under the pointer by then.
    const bool isWhole = pressed_ == index && pressedAction_ == button->action;
    pressed_ = kind == QEvent::MouseButtonPress ? QPersistentModelIndex(index) : QPersistentModelIndex();
    pressedAction_ = button->action;
    if (kind == QEvent::MouseButtonRelease && isWhole) {
        Q_EMIT actionWanted(index, button->action);
    }
    return true;
}

bool DownloadDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                 const QStyleOptionViewItem& option, const QModelIndex& index) {
    const auto button =
        event->type() == QEvent::ToolTip ? buttonAt(event->pos(), option, index) : std::nullopt;
    if (button) {
        QToolTip::showText(event->globalPos(), qPhrase(offer(button->action).name), view);
        return true;
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}

} // namespace fluvane
