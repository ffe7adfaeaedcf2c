// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/Header.h"

#include "Fluvane/UI/Downloads/StateFilter.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <array>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

/// Which buttons say what they do, where there is room, and which go where there is none: in that order.
constexpr std::array labelled = {"button-resume",   "button-pause",       "button-open",
                                 "button-remove",   "button-show",        "button-copy-link",
                                 "button-checksum", "button-change-link", "button-next"};
constexpr std::array rare = {"button-change-link", "button-checksum", "button-copy-link", "button-next"};
constexpr int leastSearchWidth = 110;
constexpr int searchWidth = 140; ///< Before buttons get words.

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
        made->setToolTip(withoutMnemonic(action->text()) +
                         (keys.isEmpty() ? "" : " (" + tessivar::leftToRight(keys) + ")"));
    };
    connect(action, &QAction::changed, made, follow);
    follow();
    return made;
}

/// What removes stands away from the rest, at the far end.
void Header::addTools(const DownloadActions& actions) {
    const auto tools = actions.tools();
    for (QAction* const action : tools) {
        if (action == tools.back()) {
            tools_->addStretch(0); // the search comes first
        }
        action ? addTool(action, actions.insteadOf(action)) : tools_->addSpacing(spacing::medium);
    }
    tools_->addSpacing(spacing::medium);
}

/// The two that share a place are there in turn.
void Header::addTool(QAction* action, QAction* other) {
    QToolButton* const made = buttons_.emplace_back(button(action));
    tools_->addWidget(made);
    if (!other) {
        return;
    }
    QToolButton* const instead = button(other);
    tools_->addWidget(instead);
    const auto follow = [made, instead, other] {
        made->setHidden(other->isVisible());
        instead->setVisible(other->isVisible());
    };
    connect(other, &QAction::changed, instead, follow);
    follow();
}

Header::Header(QAction* newDownload, QAction* clearFinished, const DownloadActions& actions, QMenu* menu,
               DownloadsFilter& filter)
    : newDownload_(button(newDownload)), search_(new QLineEdit), groups_(new StateFilter),
      clear_(button(clearFinished)) {
    newDownload_->setAutoRaise(false);
    tools_ = new QHBoxLayout;
    tools_->setSpacing(spacing::small);
    tools_->addWidget(newDownload_);
    tools_->addSpacing(spacing::small);
    addTools(actions);

    search_->setObjectName("search");
    search_->setAccessibleName(qPhrase("Search by name"));
    search_->setPlaceholderText(qPhrase("Search"));
    search_->setClearButtonEnabled(true);
    for (QAction* const clear : search_->findChildren<QAction*>()) {
        clear->setText(qPhrase("Clear the search"));
    }
    search_->setAcceptDrops(false); // what is dropped there is dropped on the window
    search_->addAction(tessivar::icon("search"), QLineEdit::LeadingPosition)->setText(qPhrase("Search"));
    search_->setMinimumWidth(leastSearchWidth);
    search_->setMaximumWidth(240);
    tools_->addWidget(search_, 1);
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
    tools_->addWidget(more);

    connect(groups_, &StateFilter::groupChosen, this, &Header::groupChosen);
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(
        tessivar::endingUnseen({spacing::margin, spacing::medium, spacing::margin, spacing::small}));
    column->setSpacing(spacing::medium);
    column->addLayout(tools_);
    auto* const filters = new QHBoxLayout;
    filters->addWidget(groups_, 1);
    filters->addWidget(clear_);
    column->addLayout(filters);
}

void Header::showCounts(const DownloadsModel::Summary& summary) {
    groups_->showCounts(summary);
}

void Header::showGroup(StateGroup group) {
    groups_->showGroup(group);
}

QMenu& Header::filterMenu() {
    return groups_->menu();
}

void Header::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fit();
}

void Header::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        fit();
    }
}

QToolButton* Header::named(const char* name) const {
    const auto found =
        std::ranges::find_if(buttons_, [name](const auto* each) { return each->objectName() == name; });
    return found == buttons_.end() ? nullptr : *found;
}

/// First what must be left out, then what there is room for.
void Header::fit() {
    const auto room = [this] {
        tools_->invalidate();
        return width() - 2 * spacing::margin - tools_->minimumSize().width();
    };
    for (QToolButton* const each : buttons_) {
        each->setToolButtonStyle(Qt::ToolButtonIconOnly);
    }
    for (const char* const name : rare) {
        named(name)->setVisible(true);
    }
    for (const char* const name : rare) {
        named(name)->setVisible(room() >= 0);
    }
    newDownload_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    if (room() < 0) {
        newDownload_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    }
    for (const char* const name : labelled) {
        QToolButton* const each = named(name);
        each->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        if (each->isHidden() || room() < searchWidth - leastSearchWidth) {
            each->setToolButtonStyle(Qt::ToolButtonIconOnly);
        }
    }
    clear_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    // Where the row of states has no room either way, its menu leaves some.
    const int rest = width() - 2 * spacing::margin - spacing::medium;
    const int row = groups_->sizeHint().width();
    if (row <= rest - clear_->minimumSizeHint().height() && row > rest - clear_->sizeHint().width()) {
        clear_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    }
}

} // namespace fluvane
