// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// How the Downloads window's parts are made.

#include "Fluvane/UI/Downloads/Content.h"
#include "Fluvane/UI/Downloads/DownloadsList.h"
#include "Fluvane/UI/Downloads/EmptyPage.h"
#include "Fluvane/UI/Downloads/Header.h"
#include "Fluvane/UI/Inspector/Inspector.h"
#include "Fluvane/UI/SpeedLimit/SpeedLimitMenu.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QActionGroup>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <array>
#include <utility>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

using Order = DownloadsFilter::Order;

/// The end of an order that people look for first.
bool bigFirst(Order order) {
    return order != Order::name && order != Order::state;
}

constexpr std::array<std::pair<Order, const char*>, DownloadsFilter::orders> orders = {{
    {Order::state, marked("S&tate")},
    {Order::added, marked("Date &Added")},
    {Order::name, marked("&Name")},
    {Order::size, marked("&Size")},
    {Order::progress, marked("&Progress")},
    {Order::speed, marked("Spee&d")},
    {Order::finished, marked("Date &Finished")},
}};

} // namespace

QAction* DownloadsWindow::Content::action(const char* name, const QString& text, const char* icon,
                                          const QKeySequence& keys, std::function<void()> run) {
    auto* const made = new QAction(icon ? tessivar::icon(icon) : QIcon(), text, &window_);
    made->setObjectName(name);
    made->setShortcut(keys);
    QObject::connect(made, &QAction::triggered, &here_, [run = std::move(run)] { run(); });
    window_.addAction(made);
    return made;
}

void DownloadsWindow::Content::makeKeys() {
    newDownload_ =
        action("new-download", qPhrase("&New Download…"), "plus", QKeySequence::New, [this] { offer({}); });
    pauseAll_ = action("pause-all", qPhrase("Pa&use All"), "pause", Qt::CTRL | Qt::SHIFT | Qt::Key_P,
                       [this] { context_.manager.pauseAll(); });
    resumeAll_ = action("resume-all", qPhrase("R&esume All"), "play", Qt::CTRL | Qt::SHIFT | Qt::Key_R,
                        [this] { context_.manager.resumeAll(); });
    retryAll_ = action("retry-all", qPhrase("Try All A&gain"), "retry", Qt::Key_F5, [this] { retryAll(); });
    limitSpeed_ = action("limit-speed", qPhrase("Li&mit the Speed"), "speed", Qt::CTRL | Qt::Key_L,
                         [this] { toggleLimit(); });
    limitSpeed_->setCheckable(true);
    limitSpeed_->setToolTip(limitSpeed_->text().remove('&') + " (" +
                            limitSpeed_->shortcut().toString(QKeySequence::NativeText) + ")");
    clearFinished_ =
        action("clear-finished", qPhrase("Clea&r Finished"), "check", Qt::CTRL | Qt::SHIFT | Qt::Key_F,
               [this] { actions_.remove(filter_.finished()); });
    undo_ = action("undo-removal", qPhrase("Un&do"), "undo", QKeySequence::Undo, [this] { undoRemoval(); });
    undo_->setVisible(false);
    limits_ = new SpeedLimitMenu(context_, [this](const QString& sentence) { tell(sentence); });
    limits_->setParent(&window_, limits_->windowFlags());
    details_ = action("details", qPhrase("Deta&ils"), "info", Qt::CTRL | Qt::Key_I,
                      [this] { showDetails(details_->isChecked()); });
    details_->setCheckable(true);
    compact_ = action("compact", qPhrase("C&ompact List"), "compact", {}, [this] {
        memory_.compact = compact_->isChecked();
        list_->setRowSize(memory_.compact ? RowSize::compact : RowSize::full);
    });
    compact_->setCheckable(true);
    compact_->setChecked(memory_.compact);
}

/// Keys that mean something else in the search field.
void DownloadsWindow::Content::listKey(const QKeySequence& keys, std::function<void()> run) {
    auto* const shortcut = new QShortcut(keys, list_);
    shortcut->setContext(Qt::WidgetShortcut);
    QObject::connect(shortcut, &QShortcut::activated, &here_, std::move(run));
}

void DownloadsWindow::Content::makeList() {
    list_ = new DownloadsList(filter_);
    list_->setObjectName("list");
    list_->setAccessibleName(qPhrase("Downloads"));
    list_->setRowSize(memory_.compact ? RowSize::compact : RowSize::full);
    QObject::connect(list_, &DownloadsList::actionWanted, &here_,
                     [this](const QModelIndex& index, RowAction action) { carryOut(action, index); });
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(list_, &QWidget::customContextMenuRequested, &here_,
                     [this](const QPoint& at) { showMenu(at); });
    QAction* const open = window_.findChild<QAction*>("open");
    QObject::connect(list_, &QListView::doubleClicked, &here_, [this, open](const QModelIndex& index) {
        if (open->isVisible() && list_->selectionModel()->isSelected(index)) { // not its button
            open->trigger();
        }
    });
    // Their keys mean something else in the search field.
    for (QAction* const each : actions_.all()) {
        if (each) {
            list_->addAction(each);
        }
    }
    listKey(Qt::SHIFT | Qt::Key_F10, [this] { showMenuAtCurrent(); });
}

void DownloadsWindow::Content::makeSortMenu() {
    QMenu* const sort = menu_->addMenu(tessivar::icon("sort"), qPhrase("Sort &By"));
    orders_ = new QActionGroup(&window_);
    for (const auto& [order, name] : orders) {
        QAction* const choice = sort->addAction(qPhrase(name));
        choice->setCheckable(true);
        choice->setData(static_cast<int>(order));
        choice->setChecked(order == memory_.order);
        orders_->addAction(choice);
    }
    sort->addSeparator();
    reversed_ = sort->addAction(qPhrase("&Reversed"));
    reversed_->setCheckable(true);
    QObject::connect(orders_, &QActionGroup::triggered, &here_, [this] { applyOrder(); });
    QObject::connect(reversed_, &QAction::triggered, &here_, [this] { applyOrder(); });
}

void DownloadsWindow::Content::fillWithActions(QMenu& menu) {
    for (QAction* const each : actions_.all()) {
        each ? menu.addAction(each) : static_cast<void>(menu.addSeparator());
    }
}

void DownloadsWindow::Content::makeMenu() {
    menu_ = new QMenu(&window_);
    menu_->addAction(newDownload_);
    menu_->addAction(action("paste-links", qPhrase("&Paste Links"), "paste", QKeySequence::Paste,
                            [this] { window_.pasteLinks(); }));
    menu_->addSeparator();
    QMenu* const selection = menu_->addMenu(qPhrase("&Selection"));
    selection->setObjectName("selection-menu");
    fillWithActions(*selection);
    QObject::connect(menu_, &QMenu::aboutToShow, &here_,
                     [this, selection] { selection->setEnabled(!selected().empty()); });
    menu_->addActions({pauseAll_, resumeAll_, retryAll_, clearFinished_, undo_});
    menu_->addSeparator();
    menu_->addAction(limitSpeed_);
    menu_->addMenu(limits_);
    menu_->addSeparator();
    makeSortMenu();
    menu_->addAction(compact_);
    menu_->addAction(details_);
    menu_->addAction(action("find", qPhrase("&Find"), "search", QKeySequence::Find, [this] {
        header_->search().setFocus(Qt::ShortcutFocusReason);
        header_->search().selectAll();
    }));
    menu_->addSeparator();
    menu_->addAction(action("settings", qPhrase("Se&ttings…"), "settings", Qt::CTRL | Qt::Key_Comma,
                            [this] { context_.windows.showSettings(); }));
    menu_->addAction(action("whats-new", qPhrase("&What's New"), nullptr, {},
                            [this] { context_.windows.showWhatsNew(); }));
    menu_->addAction(action("about", qPhrase("&About Fluvane"), "info", {},
                            [this] { context_.windows.showSettings("about"); }));
    menu_->addSeparator();
    menu_->addAction(action("close", qPhrase("&Close Window"), "close", Qt::CTRL | Qt::Key_W,
                            [this] { window_.close(); }));
    menu_->addAction(
        action("quit", qPhrase("&Quit"), "quit", Qt::CTRL | Qt::Key_Q, [this] { context_.windows.quit(); }));
}

void DownloadsWindow::Content::makePages() {
    auto* const empty = new EmptyPage(
        {.icon = "picture-empty",
         .heading = qPhrase("No downloads"),
         .explanation = qPhrase("Copy a link and press Ctrl+V here, drop links or a text file on "
                                "this window, or add them by hand."),
         .button = qPhrase("New Download…"),
         .buttonName = "add-first"});
    QObject::connect(empty, &EmptyPage::clicked, &here_, [this] { offer({}); });
    auto* const none =
        new EmptyPage({.icon = "picture-nothing",
                       .heading = qPhrase("Nothing to show"),
                       .explanation = qPhrase("No download fits the search and the state chosen above."),
                       .button = qPhrase("Show All"),
                       .buttonName = "show-all"});
    QObject::connect(none, &EmptyPage::clicked, &here_, [this] {
        showAll();
        list_->setFocus();
    });
    pages_ = new QStackedWidget;
    for (QWidget* const page :
         {static_cast<QWidget*>(list_), static_cast<QWidget*>(empty), static_cast<QWidget*>(none)}) {
        page->setAutoFillBackground(true);
        page->setBackgroundRole(QPalette::Base);
        pages_->addWidget(page);
    }
}

void DownloadsWindow::Content::assemble() {
    header_ = new Header(newDownload_, clearFinished_, actions_, menu_, filter_);
    header_->filterMenu().setTitle(qPhrase("S&how"));
    menu_->insertMenu(compact_, &header_->filterMenu())->setIcon(tessivar::icon("filter"));
    auto* const askForLimit = new QShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_L, &window_);
    QObject::connect(askForLimit, &QShortcut::activated, &here_, [this] { showLimits(); });
    QObject::connect(header_, &Header::groupChosen, &here_,
                     [this](StateGroup group) { filter_.setGroup(group); });
    auto* const leave = new QShortcut(Qt::Key_Escape, &header_->search());
    leave->setContext(Qt::WidgetShortcut);
    QObject::connect(leave, &QShortcut::activated, &here_, [this] { leaveSearch(); });
    auto* const down = new QShortcut(Qt::Key_Down, &header_->search());
    down->setContext(Qt::WidgetShortcut);
    QObject::connect(down, &QShortcut::activated, &here_, [this] { enterResults(); });
    QObject::connect(&header_->search(), &QLineEdit::returnPressed, &here_, [this] { enterResults(); });

    inspector_ = new Inspector(context_);
    splitter_ = new QSplitter;
    splitter_->setChildrenCollapsible(false);
    splitter_->setHandleWidth(1);
    splitter_->addWidget(pages_);
    splitter_->addWidget(inspector_);
    pages_->lower(); // is read first, though the splitter would have it last
    QObject::connect(splitter_, &QSplitter::splitterMoved, &here_, [this] { keepShare(); });

    auto* const middle = new QWidget;
    auto* const column = new QVBoxLayout(middle);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing::small);
    column->addWidget(header_);
    column->addWidget(splitter_, 1);
    column->addLayout(bottom());
    window_.setCentralWidget(middle);
    reversed_->setChecked(memory_.descending != bigFirst(memory_.order));
}

/// The line at the bottom: what runs, what can be undone, what is selected, and the limit.
QLayout* DownloadsWindow::Content::bottom() {
    const auto label = [](const char* name) {
        auto* const made = new tessivar::QuietLabel;
        made->setObjectName(name);
        made->setWordWrap(false);
        return made;
    };
    summary_ = label("summary");
    summary_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // what it tells may be long
    removal_ = label("removal");
    selection_ = label("selection");
    QToolButton* const undo = bottomButton("undo");
    undo->setDefaultAction(undo_);
    undo->setVisible(false);
    QObject::connect(undo_, &QAction::changed, undo, [this, undo] { undo->setVisible(undo_->isVisible()); });
    limit_ = bottomButton("limit");
    limit_->setToolButtonStyle(Qt::ToolButtonTextOnly);
    QToolButton* const limits = bottomButton("limit-speed-button");
    limits->setDefaultAction(limitSpeed_);
    limits->setToolButtonStyle(Qt::ToolButtonIconOnly);
    limit_->setToolTip(qPhrase("Speed limit for all downloads together"));
    limit_->setMenu(limits_);
    limit_->setPopupMode(QToolButton::InstantPopup);
    limit_->setStyleSheet("QToolButton::menu-indicator { image: none; }");
    auto* const line = new QHBoxLayout;
    line->setContentsMargins(tessivar::endingUnseen({spacing::margin, 0, spacing::margin, spacing::small}));
    line->addWidget(summary_, 1);
    for (QWidget* const each : std::initializer_list<QWidget*>{removal_, undo, selection_, limits, limit_}) {
        line->addWidget(each);
    }
    return line;
}

QToolButton* DownloadsWindow::Content::bottomButton(const char* name) {
    auto* const made = new QToolButton(&window_);
    made->setObjectName(name);
    made->setAutoRaise(true);
    made->setFocusPolicy(Qt::TabFocus);
    made->setIconSize(QSize(tessivar::side::icon, tessivar::side::icon));
    made->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    return made;
}

void DownloadsWindow::Content::applyOrder() {
    const auto order = static_cast<Order>(orders_->checkedAction()->data().toInt());
    filter_.setOrder(order, bigFirst(order) != reversed_->isChecked());
}

} // namespace fluvane
