// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/Content.h"

#include "Fluvane/UI/Downloads/DownloadsList.h"
#include "Fluvane/UI/Downloads/DropTarget.h"
#include "Fluvane/UI/Downloads/EmptyPage.h"
#include "Fluvane/UI/Downloads/Header.h"
#include "Fluvane/UI/Inspector/Inspector.h"
#include "Fluvane/UI/Models/DroppedData.h"
#include "Fluvane/UI/Models/GoneFiles.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "Fluvane/UI/SpeedLimit/SpeedLimitMenu.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAccessible>
#include <QAction>
#include <QItemSelection>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QScrollBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QUrl>

#include <algorithm>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

namespace spacing = tessivar::spacing;

namespace {

constexpr int wide = 900;         ///< From this width on the details go beside the list.
constexpr int listLines = 12;     ///< Of text: what the details below the list leave for it,
constexpr int detailsLines = 5;   ///< unless that is all that would be left for them.
constexpr int messageTime = 6000; ///< Milliseconds.

enum Page { listPage, emptyPage, noMatchPage };

} // namespace

DownloadsWindow::Content::Content(DownloadsWindow& window, WindowContext& context, const QString& stateFile)
    : window_(window), context_(context), stateFile_(stateFile), memory_(WindowMemory::load(stateFile)),
      model_(context.manager, &GoneFiles::of(context.feed, context.files)), actions_(context, window) {
    makeKeys();
    makeList();
    makeMenu();
    makePages();
    assemble();
    QObject::connect(&filter_, &QAbstractItemModel::modelAboutToBeReset, &window,
                     [this] { keepSelection(); });
    QObject::connect(&filter_, &QAbstractItemModel::modelReset, &here_, [this] { restoreSelection(); });
    QObject::connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, &here_, [this] {
        if (!restoring_) {
            selectionChanged();
        }
    });
    QObject::connect(&context.feed, &ListFeed::changed, &here_, [this] {
        if (window_.isVisible()) {
            refresh();
        }
    });
    QObject::connect(&GoneFiles::of(context.feed, context.files), &GoneFiles::changed, &here_,
                     [this] { actions_.update(selected()); });
    QObject::connect(&actions_, &DownloadActions::removed, &here_, [this] { wasRemoved(); });
    QObject::connect(&actions_, &DownloadActions::done, &here_,
                     [this](const QString& sentence) { tell(sentence); });
    messageEnd_.setSingleShot(true);
    QObject::connect(&messageEnd_, &QTimer::timeout, &here_, [this] {
        summary_->setToolTip({});
        summary_->setAccessibleName({});
        summary_->setAccessibleDescription({});
        updateSummary();
    });
}

// What follows the engine

void DownloadsWindow::Content::refresh() {
    model_.refresh();
    header_->showCounts(filter_.summary());
    pauseAll_->setEnabled(model_.summary().running + model_.summary().waiting > 0);
    resumeAll_->setEnabled(model_.summary().paused + model_.summary().waiting > 0);
    clearFinished_->setEnabled(filter_.hasFinished());
    retryAll_->setEnabled(model_.summary().attention > 0 && !failed().empty());
    updateRemoval();
    updateLimit();
    actions_.update(selected());
    updatePage();
    updateSummary();
}

void DownloadsWindow::Content::updatePage() {
    const Page page = model_.rowCount() == 0 ? emptyPage : filter_.rowCount() == 0 ? noMatchPage : listPage;
    if (pages_->currentIndex() != page) {
        // Also that of a window that isn't active.
        const QWidget* const focus = window_.focusWidget();
        const bool hadFocus = !focus || pages_->isAncestorOf(focus);
        pages_->setCurrentIndex(page);
        if (hadFocus) {
            pages_->currentWidget()->setFocus();
        }
    }
    showInspector();
}

void DownloadsWindow::Content::updateSummary() {
    const auto& all = model_.summary();
    if (!messageEnd_.isActive()) {
        const words::Totals totals{.running = all.running,
                                   .waiting = all.waiting,
                                   .attention = all.attention,
                                   .bytesPerSecond = all.speed,
                                   .held = context_.manager.placesHeldByRetries()};
        const auto words = QString::fromStdString(words::totals(totals));
        const auto shown = summary_->fontMetrics().elidedText(words, Qt::ElideRight, summary_->width());
        summary_->setText(shown);
        summary_->setToolTip(shown == words ? QString() : plainToolTip(words));
        summary_->setAccessibleName(words);
        summary_->setAccessibleDescription(shown == words ? QString() : words);
    }
    int count = 0;
    for (const auto& range : list_->selectionModel()->selection()) {
        count += range.height();
    }
    selection_->setText(count > 1 ? qPhrases("%1 selected", "%1 selected", count) : QString());
    selection_->setVisible(count > 1);
}

/// What was removed a moment ago, as long as it can be brought back.
void DownloadsWindow::Content::updateRemoval() {
    const auto count = context_.manager.undoable();
    const QString sentence =
        count > 0 ? qPhrases("Removed %1 download.", "Removed %1 downloads.", count) : QString();
    undo_->setEnabled(count > 0);
    undo_->setVisible(count > 0);
    undo_->setToolTip(sentence);
    removal_->setText(sentence);
    removal_->setVisible(count > 0 && hasRoomForRemoval());
}

/// Beside what runs, which tells more.
bool DownloadsWindow::Content::hasRoomForRemoval() const {
    int together = summary_->fontMetrics().horizontalAdvance(summary_->text()) + 2 * spacing::margin;
    for (const QWidget* const each : std::initializer_list<const QWidget*>{
             removal_, selection_, limit_, window_.findChild<QToolButton*>("undo")}) {
        together += each->sizeHint().width() + spacing::medium;
    }
    return together <= window_.width();
}

void DownloadsWindow::Content::wasRemoved() {
    selectWhatFollows();
    refresh();
    QAccessibleEvent event(removal_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void DownloadsWindow::Content::undoRemoval() {
    const IDs ids = context_.manager.undoRemoval();
    refresh();
    IDs shown = ids;
    std::erase_if(shown, [this](auto id) { return !filter_.indexOf(id).isValid(); });
    if (!ids.empty()) {
        select(shown.empty() ? ids : shown, false);
    }
}

void DownloadsWindow::Content::updateLimit() {
    const auto limit = context_.manager.config().speedLimit;
    const QString text =
        limit ? qPhrase("Up to %1", words::speed(static_cast<double>(*limit))) : qPhrase("No limit");
    memory_.limit = limit.value_or(memory_.limit);
    limitSpeed_->setChecked(limit.has_value());
    if (limit_->text() != text) {
        limit_->setText(text);
        limit_->setAccessibleName(qPhrase("Speed limit: %1", text));
    }
    limits_->update();
}

void DownloadsWindow::Content::showLimits() {
    limits_->popup(limit_->mapToGlobal(QPoint(0, -limits_->sizeHint().height())));
}

/// Off, or to what it was last; it is asked for where there was none yet.
void DownloadsWindow::Content::toggleLimit() {
    const bool isOn = context_.manager.config().speedLimit.has_value();
    if (isOn || memory_.limit > 0) {
        limits_->set(isOn ? std::nullopt : std::optional(memory_.limit));
    } else {
        showLimits();
    }
    updateLimit();
}

/// What a key for all of them tries again.
DownloadsWindow::Content::IDs DownloadsWindow::Content::failed() const {
    IDs ids;
    for (const Download* const download : context_.manager.downloads()) {
        if (needsAttention(download->record) && abilities(*download).tryAgain) {
            ids.push_back(download->id());
        }
    }
    return ids;
}

void DownloadsWindow::Content::retryAll() {
    for (const auto id : failed()) {
        context_.manager.resume(id);
    }
}

void DownloadsWindow::Content::tell(const QString& message) {
    summary_->setText(summary_->fontMetrics().elidedText(message, Qt::ElideMiddle, summary_->width()));
    summary_->setToolTip(plainToolTip(message));
    summary_->setAccessibleName(message);
    summary_->setAccessibleDescription(message); // which else were the tool tip, with its marks
    QAccessibleEvent event(summary_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
    messageEnd_.start(messageTime);
}

// Selection

DownloadsWindow::Content::IDs DownloadsWindow::Content::selected() const {
    IDs ids;
    for (const auto& range : list_->selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            ids.push_back(filter_.idAt(row));
        }
    }
    return ids;
}

void DownloadsWindow::Content::selectionChanged() {
    const IDs ids = selected();
    actions_.update(ids);
    if (memory_.details) {
        inspector_->showDownloads(ids);
    }
    updateSummary();
}

void DownloadsWindow::Content::keepSelection() {
    kept_ = selected();
    const QModelIndex current = list_->currentIndex();
    keptCurrent_ = current.isValid() ? filter_.idAt(current.row()) : DownloadID{};
    keptScroll_ = list_->verticalScrollBar()->value();
    restoring_ = true;
}

/// In ranges, since there may be very many.
QItemSelection DownloadsWindow::Content::rowsOf(const IDs& ids) const {
    std::vector<int> rows;
    for (const auto id : ids) {
        if (const QModelIndex index = filter_.indexOf(id); index.isValid()) {
            rows.push_back(index.row());
        }
    }
    std::ranges::sort(rows);
    QItemSelection selection;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const int first = rows[i];
        while (i + 1 < rows.size() && rows[i + 1] == rows[i] + 1) {
            ++i;
        }
        selection.append(QItemSelectionRange(filter_.index(first, 0), filter_.index(rows[i], 0)));
    }
    return selection;
}

void DownloadsWindow::Content::restoreSelection() {
    if (const QModelIndex current = filter_.indexOf(keptCurrent_); current.isValid()) {
        list_->selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
    }
    list_->selectionModel()->select(rowsOf(kept_), QItemSelectionModel::ClearAndSelect);
    list_->verticalScrollBar()->setValue(keptScroll_);
    restoring_ = false;
    header_->showCounts(filter_.summary()); // which may be of another search
    clearFinished_->setEnabled(filter_.hasFinished());
    selectionChanged();
    updatePage();
}

void DownloadsWindow::Content::selectRow(int row) {
    list_->selectionModel()->setCurrentIndex(filter_.index(row, 0), QItemSelectionModel::ClearAndSelect);
}

/// What takes the place of the selection once all of it was removed.
void DownloadsWindow::Content::selectWhatFollows() {
    const auto isThere = [this](auto id) { return context_.manager.download(id) != nullptr; };
    if (const IDs ids = selected(); ids.empty() || std::ranges::any_of(ids, isThere)) {
        return;
    }
    int place = filter_.rowCount();
    for (const auto& range : list_->selectionModel()->selection()) {
        place = std::min(place, range.top());
    }
    refresh();
    if (filter_.rowCount() > 0) {
        selectRow(std::min(place, filter_.rowCount() - 1));
        list_->scrollTo(list_->currentIndex());
    }
}

void DownloadsWindow::Content::select(IDs ids, bool withDetails) {
    refresh();
    std::erase_if(ids, [this](auto id) { return !model_.rowOf(id); });
    if (ids.empty()) {
        return;
    }
    if (!std::ranges::all_of(ids, [this](auto id) { return filter_.indexOf(id).isValid(); })) {
        showAll();
    }
    // The view's own way asks the keyboard what else to select: with Ctrl down, as in Ctrl+Return, all that
    // was selected would stay so.
    const QModelIndex first = filter_.indexOf(ids.front());
    list_->selectionModel()->setCurrentIndex(first, QItemSelectionModel::NoUpdate);
    list_->selectionModel()->select(rowsOf(ids), QItemSelectionModel::ClearAndSelect);
    list_->scrollTo(filter_.indexOf(ids.back()));
    list_->scrollTo(first);
    list_->setFocus();
    if (withDetails) {
        showDetails(true);
    }
}

DownloadsPlace DownloadsWindow::Content::place() const {
    const QModelIndex current = list_->currentIndex();
    return {.selected = selected(),
            .current = current.isValid() ? filter_.idAt(current.row()) : DownloadID{},
            .scroll = list_->verticalScrollBar()->value(),
            .search = header_->search().text()};
}

void DownloadsWindow::Content::goTo(const DownloadsPlace& place) {
    refresh();
    header_->search().setText(place.search);
    if (const QModelIndex current = filter_.indexOf(place.current); current.isValid()) {
        list_->selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
    }
    list_->selectionModel()->select(rowsOf(place.selected), QItemSelectionModel::ClearAndSelect);
    // How far it can be scrolled is known once it has its size on screen.
    QTimer::singleShot(0, &here_,
                       [this, scroll = place.scroll] { list_->verticalScrollBar()->setValue(scroll); });
}

// The rest

void DownloadsWindow::Content::offer(const std::vector<URL>& links) {
    context_.windows.newDownload(links);
}

void DownloadsWindow::Content::showDropTarget(const QMimeData& data) {
    hideDropTarget();
    dropTarget_ = new DropTarget(*window_.centralWidget());
    // Files aren't read before they are dropped.
    if (const auto urls = data.urls(); std::ranges::none_of(urls, &QUrl::isLocalFile)) {
        findLinks(data, dropTarget_, [target = dropTarget_.data()](const std::vector<URL>& links) {
            target->setLinks(links.size());
        });
    }
}

void DownloadsWindow::Content::hideDropTarget() {
    delete dropTarget_.data();
}

bool DownloadsWindow::Content::rescueFocus() {
    const QWidget* const focus = window_.focusWidget();
    if (!focus || (focus->isEnabled() && focus->isVisibleTo(&window_))) {
        return false;
    }
    pages_->currentWidget()->setFocus();
    return true;
}

void DownloadsWindow::Content::leaveSearch() {
    header_->search().clear();
    list_->setFocus();
}

void DownloadsWindow::Content::enterResults() {
    if (filter_.rowCount() > 0) {
        selectRow(0);
        list_->scrollToTop();
        list_->setFocus();
    }
}

/// What the row's button says.
void DownloadsWindow::Content::carryOut(RowAction action, const QModelIndex& index) {
    const auto id = filter_.idAt(index.row());
    const Download* const download = context_.manager.download(id);
    if (!download) {
        return;
    }
    switch (action) {
    case RowAction::pause:
        return context_.manager.pause(id);
    case RowAction::tryAgain:
        if (download->record.state.isWaiting(DownloadState::Wait::retrying)) {
            context_.manager.pause(id); // instead of waiting for its time
        }
        return context_.manager.resume(id);
    case RowAction::resume:
        return context_.manager.resume(id);
    case RowAction::show:
        return context_.files.show(*download->record.file);
    case RowAction::open:
        return context_.files.open(*download->record.file);
    case RowAction::remove:
        return actions_.remove({id});
    case RowAction::none:
        return;
    }
}

void DownloadsWindow::Content::showMenu(const QPoint& at) {
    auto* const menu = new QMenu(list_);
    menu->setObjectName("context-menu");
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (selected().empty()) {
        menu->addActions({newDownload_, pauseAll_, resumeAll_, retryAll_, clearFinished_});
    } else {
        fillWithActions(*menu);
    }
    menu->popup(list_->viewport()->mapToGlobal(at));
}

/// Asked for by a key.
void DownloadsWindow::Content::showMenuAtCurrent() {
    const QRect row = list_->visualRect(list_->currentIndex());
    const QRect view = list_->viewport()->rect();
    showMenu(view.intersects(row) ? row.intersected(view).center() : view.center());
}

void DownloadsWindow::Content::showDetails(bool shown) {
    memory_.details = shown;
    details_->setChecked(shown);
    showInspector();
}

/// An empty list has no details.
void DownloadsWindow::Content::showInspector() {
    const bool shown = memory_.details && model_.rowCount() > 0;
    if (shown == !inspector_->isHidden()) {
        return;
    }
    inspector_->setVisible(shown);
    if (shown) {
        inspector_->showDownloads(selected());
        arrange();
    }
}

void DownloadsWindow::Content::showAll() {
    header_->search().clear();
    header_->showGroup(StateGroup::all);
    filter_.setGroup(StateGroup::all);
}

void DownloadsWindow::Content::arrange() {
    updateRemoval();
    const auto orientation = window_.width() >= wide ? Qt::Horizontal : Qt::Vertical;
    if (splitter_->orientation() != orientation) {
        splitter_->setOrientation(orientation);
    }
    const int length = orientation == Qt::Horizontal ? splitter_->width() : splitter_->height();
    const double share = orientation == Qt::Horizontal ? memory_.besideShare : memory_.belowShare;
    int details = static_cast<int>(length * share);
    if (orientation == Qt::Vertical) {
        const int line = list_->fontMetrics().lineSpacing();
        details = std::min(details, std::max(length - listLines * line, detailsLines * line));
    }
    splitter_->setSizes({length - details, details});
}

void DownloadsWindow::Content::keepShare() {
    const QList<int> sizes = splitter_->sizes();
    const int length = sizes.value(0) + sizes.value(1);
    if (length > 0 && sizes.value(1) > 0) {
        auto& share = splitter_->orientation() == Qt::Horizontal ? memory_.besideShare : memory_.belowShare;
        share = static_cast<double>(sizes.value(1)) / length;
    }
}

void DownloadsWindow::Content::restore() {
    window_.resize(980, 620);
    if (!memory_.geometry.isEmpty()) {
        window_.restoreGeometry(memory_.geometry);
    }
    header_->showGroup(memory_.group);
    filter_.setGroup(memory_.group);
    filter_.setOrder(memory_.order, memory_.descending);
    showDetails(memory_.details);
    list_->setFocus();
}

void DownloadsWindow::Content::remember() {
    if (window_.isVisible()) { // a hidden one has lost its frame: it would be put where that was
        memory_.geometry = window_.saveGeometry();
    }
    memory_.group = filter_.group();
    memory_.order = filter_.order();
    memory_.descending = filter_.descending();
    memory_.save(stateFile_);
}

} // namespace fluvane
