// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/Header.h"

#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QSignalBlocker>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;
using tessivar::qPhraseIn;

namespace spacing = tessivar::spacing;

namespace {

/// From this width on buttons of these actions say what they do.
constexpr std::array<std::pair<int, const char*>, 5> labelled = {{
    {900, "button-resume"},
    {900, "button-pause"},
    {1060, "button-open"},
    {1060, "button-remove"},
    {1200, "button-show"},
}};
constexpr int narrow = 640; ///< Below this width there are no buttons for what is done seldom.
constexpr std::array rare = {"button-next", "button-change-link", "button-checksum", "button-copy-link"};

constexpr std::array<std::pair<StateGroup, const char*>, 6> groups = {{
    {StateGroup::all, marked("All")},
    {StateGroup::running, marked("Running")},
    {StateGroup::waiting, marked("Waiting")},
    {StateGroup::paused, marked("Paused")},
    {StateGroup::attention, marked("Needs Attention")},
    {StateGroup::finished, marked("Finished")},
}};

QString withoutMnemonic(QString text) {
    return text.remove('&');
}

} // namespace

QToolButton* Header::button(QAction* action) {
    auto* const made = new QToolButton(this); // without a parent it would be a window for a moment
    made->setDefaultAction(action);
    made->setAutoRaise(true);
    made->setFocusPolicy(Qt::TabFocus);
    made->setIconSize(QSize(tessivar::side::icon, tessivar::side::icon));
    made->setObjectName("button-" + action->objectName());
    const auto follow = [made, action] {
        made->setEnabled(action->isVisible() && action->isEnabled());
        made->setAccessibleName(withoutMnemonic(action->text()));
        const QString keys = action->shortcut().toString(QKeySequence::NativeText);
        made->setToolTip(withoutMnemonic(action->text()) + (keys.isEmpty() ? "" : " (" + keys + ")"));
    };
    connect(action, &QAction::changed, made, follow);
    follow();
    return made;
}

/// The two that share a place are there in turn.
void Header::addTools(QHBoxLayout& row, const DownloadActions& actions) {
    for (QAction* const action : actions.tools()) {
        if (!action) {
            row.addSpacing(spacing::medium);
            continue;
        }
        QToolButton* const made = buttons_.emplace_back(button(action));
        row.addWidget(made);
        if (QAction* const other = actions.insteadOf(action)) {
            QToolButton* const instead = button(other);
            row.addWidget(instead);
            const auto follow = [made, instead, other] {
                made->setHidden(other->isVisible());
                instead->setVisible(other->isVisible());
            };
            connect(other, &QAction::changed, instead, follow);
            follow();
        }
    }
}

Header::Header(QAction* newDownload, QAction* clearFinished, const DownloadActions& actions, QMenu* menu,
               DownloadsFilter& filter)
    : newDownload_(button(newDownload)), search_(new QLineEdit), groups_(new QTabBar) {
    newDownload_->setAutoRaise(false);
    newDownload_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    auto* const tools = new QHBoxLayout;
    tools->setSpacing(spacing::small);
    tools->addWidget(newDownload_);
    tools->addSpacing(spacing::small);
    addTools(*tools, actions);
    tools->addStretch(1);

    search_->setObjectName("search");
    search_->setAccessibleName(qPhrase("Search by name"));
    search_->setPlaceholderText(qPhrase("Search"));
    search_->setClearButtonEnabled(true);
    for (QAction* const clear : search_->findChildren<QAction*>()) {
        clear->setText(qPhrase("Clear the search"));
    }
    search_->setAcceptDrops(false); // what is dropped there is dropped on the window
    search_->addAction(tessivar::icon("search"), QLineEdit::LeadingPosition)->setText(qPhrase("Search"));
    search_->setMinimumWidth(110);
    search_->setMaximumWidth(240);
    tools->addWidget(search_, 1);
    connect(search_, &QLineEdit::textChanged, &filter, &DownloadsFilter::setSearch);

    auto* const more = new QToolButton;
    more->setObjectName("menu");
    more->setAutoRaise(true);
    more->setFocusPolicy(Qt::TabFocus);
    more->setIcon(tessivar::icon("menu"));
    more->setAccessibleName(qPhrase("Menu"));
    more->setToolTip(qPhrase("Menu (F10)"));
    more->setShortcut(Qt::Key_F10);
    more->setMenu(menu);
    more->setPopupMode(QToolButton::InstantPopup);
    more->setStyleSheet("QToolButton::menu-indicator { image: none; }");
    tools->addWidget(more);

    groups_->setObjectName("filter");
    groups_->setAccessibleName(qPhrase("Show downloads by state"));
    groups_->setDrawBase(false);
    groups_->setExpanding(false);
    groups_->setDocumentMode(true);
    groups_->setElideMode(Qt::ElideNone);
    for (const auto& [group, name] : groups) {
        groups_->addTab(qPhrase(name));
    }
    connect(groups_, &QTabBar::currentChanged, this,
            [this](int tab) { Q_EMIT groupChosen(groups[static_cast<std::size_t>(tab)].first); });

    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(spacing::margin, spacing::medium, spacing::margin, spacing::small);
    column->setSpacing(spacing::medium);
    column->addLayout(tools);
    auto* const filters = new QHBoxLayout;
    filters->addWidget(groups_, 1);
    QToolButton* const clear = button(clearFinished);
    clear->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    filters->addWidget(clear);
    column->addLayout(filters);
}

void Header::showCounts(const DownloadsModel::Summary& summary) {
    for (int tab = 0; tab < groups_->count(); ++tab) {
        const auto& [group, name] = groups[static_cast<std::size_t>(tab)];
        const int count = summary.in(group);
        const QString text =
            count > 0 ? qPhraseIn("state and count", "%1  %2", qPhrase(name), count) : qPhrase(name);
        if (groups_->tabText(tab) != text) {
            groups_->setTabText(tab, text);
        }
    }
}

void Header::showGroup(StateGroup group) {
    const QSignalBlocker quiet(groups_);
    for (int tab = 0; tab < groups_->count(); ++tab) {
        if (groups[static_cast<std::size_t>(tab)].first == group) {
            groups_->setCurrentIndex(tab);
        }
    }
}

void Header::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fit();
}

void Header::fit() {
    for (QToolButton* const each : buttons_) {
        const auto isIts = [name = each->objectName()](const auto& entry) { return name == entry; };
        const auto* const label = std::ranges::find_if(labelled, isIts, &std::pair<int, const char*>::second);
        const bool hasWords = label != labelled.end() && width() >= label->first;
        each->setToolButtonStyle(hasWords ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonIconOnly);
        if (std::ranges::any_of(rare, isIts)) {
            each->setVisible(width() >= narrow);
        }
    }
}

} // namespace fluvane
