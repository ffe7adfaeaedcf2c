// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadsList.h"

#include "Fluvane/UI/Downloads/DownloadDelegate.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"
#include "Tessivar/Windows/Style.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionViewItem>

#include <algorithm>
#include <iterator>
#include <utility>

namespace fluvane {

namespace {

constexpr int stepTime = 33;         ///< Milliseconds: more often than this nobody sees.
constexpr qint64 betweenFades = 400; ///< What changes more often than this in milliseconds doesn't fade.
constexpr int drawnSteps = 1000;

} // namespace

DownloadsList::DownloadsList(DownloadsFilter& filter, QWidget* parent)
    : QListView(parent), filter_(filter), delegate_(new DownloadDelegate(this)) {
    clock_.start();
    setModel(&filter);
    setItemDelegate(delegate_);
    delegate_->shownFraction = [this](const QModelIndex& index, double fraction) {
        return shownFraction(index, fraction);
    };
    connect(delegate_, &DownloadDelegate::actionWanted, this, &DownloadsList::actionWanted);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSelectionMode(ExtendedSelection);
    setDragDropMode(DragOnly);
    setEditTriggers(NoEditTriggers);
    setFrameShape(NoFrame);
    setMouseTracking(true);
    connect(&filter, &DownloadsFilter::headingsChanged, this, [this] { scheduleDelayedItemsLayout(); });
    for (const auto change :
         {&QAbstractItemModel::rowsAboutToBeInserted, &QAbstractItemModel::rowsAboutToBeRemoved}) {
        connect(&filter, change, this, [this] { keepPicture(); });
    }
    connect(&filter, &QAbstractItemModel::modelReset, this, [this] {
        fractions_.clear();
        glides_.clear();
    });
    connect(&filter, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] { keepPicture(); });
    steps_.setInterval(stepTime);
    connect(&steps_, &QTimer::timeout, this, [this] { step(); });
}

void DownloadsList::setRowSize(RowSize size) {
    delegate_->setRowSize(size);
    scheduleDelayedItemsLayout();
}

QModelIndex DownloadsList::indexAt(const QPoint& point) const {
    const QModelIndex index = QListView::indexAt(point);
    if (!index.data(DownloadsFilter::HeadingRole).isValid()) {
        return index;
    }
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.rect = visualRect(index);
    return delegate_->places(option, index).heading.bottom() < point.y() ? index : QModelIndex();
}

// Keys

void DownloadsList::keyboardSearch(const QString& search) {
    searched_.start();
    QListView::keyboardSearch(search);
}

/// Within a name that is typed, rather than a key that does something.
bool DownloadsList::isSpaceOfSearch(const QKeyEvent& event) const {
    return event.key() == Qt::Key_Space && event.modifiers() == Qt::NoModifier && searched_.isValid() &&
           !searched_.hasExpired(QApplication::keyboardInputInterval());
}

bool DownloadsList::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && isSpaceOfSearch(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QListView::event(event);
}

void DownloadsList::keyPressEvent(QKeyEvent* event) {
    if (isSpaceOfSearch(*event)) {
        return keyboardSearch(" ");
    }
    // With nothing selected the first key selects where it is: the first row of a list that nobody was in.
    const bool isStep = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down;
    const bool selects = !(event->modifiers() & Qt::ControlModifier) && !selectionModel()->hasSelection();
    if (isStep && selects && currentIndex().isValid()) {
        selectionModel()->select(currentIndex(), QItemSelectionModel::ClearAndSelect);
        return scrollTo(currentIndex());
    }
    QListView::keyPressEvent(event);
}

/// Without a new layout of all rows, which Qt would make: rows change their heights with their headings only.
void DownloadsList::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                const QList<int>& roles) {
    QAbstractItemView::dataChanged(topLeft, bottomRight, roles); // NOLINT(bugprone-parent-virtual-call)
    if (isVisible() && tessivar::motionTime(*this) > 0) {
        for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
            glide(filter_.index(row, 0));
        }
    }
}

// Motion

void DownloadsList::keepPicture() {
    const qint64 now = clock_.elapsed();
    const bool isSoon = fadeStart_ > 0 && now - fadeStart_ < betweenFades;
    if (isSoon || !isVisible() || tessivar::motionTime(*this) == 0) {
        return;
    }
    before_ = viewport()->grab();
    fadeStart_ = now;
    steps_.start();
}

void DownloadsList::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (before_.isNull()) {
        return;
    }
    const auto share =
        static_cast<double>(clock_.elapsed() - fadeStart_) / std::max(tessivar::motionTime(*this), 1);
    QPainter painter(viewport());
    painter.setOpacity(std::clamp(1 - share, 0.0, 1.0));
    painter.drawPixmap(0, 0, before_);
}

/// Bars that grow go there slowly; any other change is shown at once.
void DownloadsList::glide(const QModelIndex& index) {
    const auto drawn = fractions_.find(filter_.idAt(index.row()));
    if (drawn == fractions_.end()) {
        return;
    }
    const QVariant done = index.data(DownloadsModel::FractionRole);
    const bool isOn = index.data(DownloadsModel::HasBarRole).toBool() && done.isValid();
    const double from = drawn->second;
    if (!isOn || done.toDouble() <= from) {
        glides_.erase(drawn->first);
        if (!isOn) {
            fractions_.erase(drawn);
        }
        return;
    }
    glides_.insert_or_assign(drawn->first, Glide{.row = index,
                                                 .from = from,
                                                 .to = done.toDouble(),
                                                 .start = clock_.elapsed(),
                                                 .drawn = static_cast<int>(from * drawnSteps)});
    steps_.start();
}

double DownloadsList::at(const Glide& glide) const {
    const double time = std::max(tessivar::motionTime(*this), 1);
    const double share = std::min(static_cast<double>(clock_.elapsed() - glide.start) / time, 1.0);
    return glide.from + (glide.to - glide.from) * share;
}

double DownloadsList::shownFraction(const QModelIndex& index, double fraction) {
    const auto id = filter_.idAt(index.row());
    const auto found = glides_.find(id);
    const double shown = found == glides_.end() ? fraction : std::min(at(found->second), fraction);
    fractions_.insert_or_assign(id, shown);
    return shown;
}

QRect DownloadsList::barOf(const QModelIndex& index) const {
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.rect = visualRect(index);
    return delegate_->places(option, index).bar;
}

/// Whether it goes on.
bool DownloadsList::move(Glide& glide) {
    if (!glide.row.isValid() || !isVisible()) {
        return false;
    }
    const double shown = at(glide);
    const int drawn = static_cast<int>(shown * drawnSteps);
    if (drawn != std::exchange(glide.drawn, drawn)) {
        viewport()->update(barOf(glide.row));
    }
    return shown < glide.to;
}

/// What moved is painted, and only where it did.
void DownloadsList::step() {
    if (!before_.isNull()) {
        viewport()->update();
        if (clock_.elapsed() - fadeStart_ >= tessivar::motionTime(*this)) {
            before_ = {};
        }
    }
    for (auto entry = glides_.begin(); entry != glides_.end();) {
        entry = move(entry->second) ? std::next(entry) : glides_.erase(entry);
    }
    if (before_.isNull() && glides_.empty()) {
        steps_.stop();
    }
}

} // namespace fluvane
