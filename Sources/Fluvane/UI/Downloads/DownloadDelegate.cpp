#include "Fluvane/UI/Downloads/DownloadDelegate.h"

#include "Fluvane/UI/Downloads/ProgressBar.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"

#include <QListView>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace fluvane {

namespace Spacing = tessivar::Spacing;

namespace {

constexpr int kindSide = 32;
constexpr int stateSide = 16;
constexpr int inset = 12; ///< From the row's edges to what is drawn.
constexpr int barHeight = 6;
constexpr int gap = 5; ///< Around the bar.

QString percent(const QModelIndex& index) {
    const QVariant done = index.data(DownloadsModel::FractionRole);
    const bool wanted = index.data(DownloadsModel::HasBarRole).toBool() && done.isValid();
    return wanted ? QString::fromStdString(Words::percent(done.toDouble())) : QString();
}

bool needsAttention(const QString& stateIcon) {
    return stateIcon == "warning" || stateIcon == "link";
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
    return {.font = option.font,
            .text = palette.color(QPalette::Text),
            .quiet = tessivar::quietText(palette),
            .warning = tessivar::readable(QColor(0xC0, 0x1C, 0x28), palette.color(QPalette::Base)),
            .direction = option.direction};
}

DownloadDelegate::Places DownloadDelegate::places(const QStyleOptionViewItem& option, bool hasBar) {
    const QRect row = option.rect.adjusted(inset, 0, -inset, 0);
    const int text = option.fontMetrics.height();
    const int height = 2 * text + (hasBar ? barHeight + 2 * gap : Spacing::small);
    const int left = row.left() + kindSide + inset;
    const int width = std::max(row.right() + 1 - left, 0);
    int top = row.top() + (row.height() - height) / 2;
    Places places;
    places.kind = QRect(row.left(), row.top() + (row.height() - kindSide) / 2, kindSide, kindSide);
    places.name = QRect(left, top, width, text);
    places.state = QRect(row.right() + 1 - stateSide, top + (text - stateSide) / 2, stateSide, stateSide);
    top += text + (hasBar ? gap : Spacing::small);
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
    return {0, std::max(text, kindSide) + 2 * Spacing::medium + 2};
}

const QIcon& DownloadDelegate::icon(const QString& name) const {
    auto found = icons_.find(name);
    if (found == icons_.end()) {
        found = icons_.emplace(name, tessivar::icon(name)).first;
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
    icon(index.data(DownloadsModel::KindIconRole).toString()).paint(painter, where.kind);
    paintTop(*painter, how, where, index);
    if (hasBar) {
        const QVariant done = index.data(DownloadsModel::FractionRole);
        paintProgress(*painter, where.bar, option.palette, option.direction,
                      {.state = index.data(DownloadsModel::StateRole).toString(),
                       .fraction = done.isValid() ? std::optional(done.toDouble()) : std::nullopt,
                       .step = index.data(DownloadsModel::StepRole).toInt()});
    }
    const bool warns = needsAttention(index.data(DownloadsModel::StateIconRole).toString());
    painter->setPen(warns ? how.warning : how.quiet);
    const QString line = index.data(DownloadsModel::LineRole).toString();
    painter->drawText(where.line, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(line, Qt::ElideRight, where.line.width()));
    painter->restore();
}

/// The name with its mark, and how far it got and its state at the other end.
void DownloadDelegate::paintTop(QPainter& painter, const Look& look, const Places& places,
                                const QModelIndex& index) const {
    const QFontMetrics metrics(look.font);
    const bool leftToRight = look.direction == Qt::LeftToRight;
    const auto shorten = [leftToRight](QRect& place, int by) {
        leftToRight ? place.setRight(place.right() - by) : place.setLeft(place.left() + by);
    };
    icon(index.data(DownloadsModel::StateIconRole).toString()).paint(&painter, places.state);
    QRect rest = places.name;
    shorten(rest, stateSide + Spacing::medium);
    if (const QString done = percent(index); !done.isEmpty()) {
        painter.setPen(look.quiet);
        painter.drawText(rest, Qt::AlignTrailing | Qt::AlignVCenter | Qt::TextSingleLine, done);
        shorten(rest, metrics.horizontalAdvance("100 %") + Spacing::large);
    }
    const bool prioritized = index.data(DownloadsModel::PrioritizedRole).toBool();
    if (prioritized) {
        shorten(rest, stateSide + Spacing::small);
    }
    painter.setPen(look.text);
    const QString name =
        metrics.elidedText(index.data().toString(), Qt::ElideMiddle, std::max(rest.width(), 0));
    painter.drawText(rest, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine, name);
    if (prioritized) {
        const int after = std::min(metrics.horizontalAdvance(name), rest.width()) + Spacing::small;
        const int left = leftToRight ? rest.left() + after : rest.right() - after - stateSide;
        icon("prioritize").paint(&painter, QRect(left, places.state.top(), stateSide, stateSide));
    }
}

/// Selection is a tint, so that icons, bars and words keep their colours and their contrast.
void DownloadDelegate::paintGround(QPainter& painter, const QStyleOptionViewItem& option) {
    const QRectF row = QRectF(option.rect).adjusted(4, 1, -4, -1);
    const bool selected = option.state & QStyle::State_Selected;
    const bool hovered = option.state & QStyle::State_MouseOver;
    if (selected || hovered) {
        QColor tint =
            selected ? option.palette.color(QPalette::Highlight) : option.palette.color(QPalette::Text);
        const bool active = option.state & QStyle::State_Active;
        tint.setAlphaF(!selected ? 0.04F : active ? 0.20F : 0.12F);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawRoundedRect(row, 6, 6);
    }
    if (option.state & QStyle::State_HasFocus) {
        painter.setPen(QPen(option.palette.color(QPalette::Highlight), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(row.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    }
}

} // namespace fluvane
