// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/Header.h"

#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QSignalBlocker>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <array>
#include <utility>

namespace fluvane {

namespace spacing = tessivar::spacing;

namespace {

constexpr int roomy = 860; ///< From this width on the most important buttons say what they do.

constexpr std::array<std::pair<StateGroup, const char*>, 6> groups = {{
    {StateGroup::all, "All"},
    {StateGroup::running, "Running"},
    {StateGroup::waiting, "Waiting"},
    {StateGroup::paused, "Paused"},
    {StateGroup::attention, "Needs Attention"},
    {StateGroup::finished, "Finished"},
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
    made->setIconSize(QSize(16, 16));
    made->setObjectName("button-" + action->objectName());
    const auto follow = [made, action] {
        made->setVisible(action->isVisible());
        made->setAccessibleName(withoutMnemonic(action->text()));
        const QString keys = action->shortcut().toString(QKeySequence::NativeText);
        made->setToolTip(withoutMnemonic(action->text()) + (keys.isEmpty() ? "" : " (" + keys + ")"));
    };
    connect(action, &QAction::changed, made, follow);
    follow();
    return made;
}

Header::Header(QAction* newDownload, const std::vector<QAction*>& actions, QMenu* menu,
               DownloadsFilter& filter)
    : newDownload_(button(newDownload)), search_(new QLineEdit), groups_(new QTabBar) {
    newDownload_->setAutoRaise(false);
    newDownload_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    auto* const tools = new QHBoxLayout;
    tools->setSpacing(spacing::small);
    tools->addWidget(newDownload_);
    tools->addSpacing(spacing::small);
    for (QAction* const action : actions) {
        if (action) {
            buttons_.push_back(button(action));
            tools->addWidget(buttons_.back());
        }
    }
    tools->addStretch(1);

    search_->setObjectName("search");
    search_->setAccessibleName("Search by name");
    search_->setPlaceholderText("Search");
    search_->setClearButtonEnabled(true);
    search_->setAcceptDrops(false); // what is dropped there is dropped on the window
    search_->addAction(tessivar::icon("search"), QLineEdit::LeadingPosition);
    search_->setMinimumWidth(110);
    search_->setMaximumWidth(240);
    tools->addWidget(search_, 1);
    connect(search_, &QLineEdit::textChanged, &filter, &DownloadsFilter::setSearch);

    auto* const more = new QToolButton;
    more->setObjectName("menu");
    more->setAutoRaise(true);
    more->setFocusPolicy(Qt::TabFocus);
    more->setIcon(tessivar::icon("menu"));
    more->setAccessibleName("Menu");
    more->setToolTip("Menu (F10)");
    more->setShortcut(Qt::Key_F10);
    more->setMenu(menu);
    more->setPopupMode(QToolButton::InstantPopup);
    more->setStyleSheet("QToolButton::menu-indicator { image: none; }");
    tools->addWidget(more);

    groups_->setObjectName("filter");
    groups_->setAccessibleName("Show downloads by state");
    groups_->setDrawBase(false);
    groups_->setExpanding(false);
    groups_->setDocumentMode(true);
    groups_->setElideMode(Qt::ElideNone);
    for (const auto& [group, name] : groups) {
        groups_->addTab(name);
    }
    connect(groups_, &QTabBar::currentChanged, this,
            [this](int tab) { Q_EMIT groupChosen(groups[static_cast<std::size_t>(tab)].first); });

    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(spacing::medium, spacing::medium, spacing::medium, 0);
    column->setSpacing(spacing::medium);
    column->addLayout(tools);
    column->addWidget(groups_);
}

void Header::showCounts(const DownloadsModel::Summary& summary) {
    for (int tab = 0; tab < groups_->count(); ++tab) {
        const auto& [group, name] = groups[static_cast<std::size_t>(tab)];
        const int count = summary.in(group);
        const QString text = count > 0 ? QString("%1  %2").arg(name).arg(count) : QString(name);
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
    const bool words = width() >= roomy;
    for (QToolButton* const each : buttons_) {
        const QString name = each->objectName();
        const bool important = name == "button-resume" || name == "button-pause" || name == "button-open";
        each->setToolButtonStyle(words && important ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonIconOnly);
    }
}

} // namespace fluvane
