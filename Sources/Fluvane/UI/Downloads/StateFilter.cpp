// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/StateFilter.h"

#include "Tessivar/Windows/Icons.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QSignalBlocker>
#include <QTabBar>
#include <QToolButton>

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;
using tessivar::qPhraseIn;

namespace {

constexpr std::array<std::pair<StateGroup, const char*>, 6> groups = {{
    {StateGroup::all, marked("All")},
    {StateGroup::running, marked("Running")},
    {StateGroup::waiting, marked("Waiting")},
    {StateGroup::paused, marked("Paused")},
    {StateGroup::attention, marked("Needs Attention")},
    {StateGroup::finished, marked("Finished")},
}};

QString withCount(const char* name, int count) {
    return count > 0 ? qPhraseIn("state and count", "%1  %2", qPhrase(name), count) : qPhrase(name);
}

/// With room for a count of two digits from the start: a first one moves nothing.
class Row : public QTabBar {
public:
    using QTabBar::QTabBar;

protected:
    [[nodiscard]] QSize tabSizeHint(int index) const override {
        constexpr int some = 88;
        const QString counted = withCount(groups[static_cast<std::size_t>(index)].second, some);
        const QFontMetrics metrics = fontMetrics();
        const int more = metrics.horizontalAdvance(counted) - metrics.horizontalAdvance(tabText(index));
        return QTabBar::tabSizeHint(index) + QSize(std::max(more, 0), 0);
    }
};

} // namespace

StateFilter::StateFilter(QWidget* parent)
    : QWidget(parent), row_(new Row(this)), menu_(new QToolButton(this)) {
    const QString purpose = qPhrase("Show downloads by state");
    row_->setObjectName("filter");
    row_->setAccessibleName(purpose);
    row_->setDrawBase(false);
    row_->setExpanding(false);
    row_->setDocumentMode(true);
    row_->setElideMode(Qt::ElideNone);
    row_->setUsesScrollButtons(false);
    for (const auto& [group, name] : groups) {
        row_->addTab(qPhrase(name));
    }
    connect(row_, &QTabBar::currentChanged, this, [this](int at) {
        const auto [group, name] = groups[static_cast<std::size_t>(at)];
        menu_->setText(row_->tabText(at));
        menu_->menu()->actions()[at]->setChecked(true);
        Q_EMIT groupChosen(group);
    });
    menu_->setObjectName("filter-menu");
    menu_->setToolTip(purpose);
    menu_->setAccessibleDescription(purpose);
    makeMenu();
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    layOut();
}

void StateFilter::makeMenu() {
    auto* const menu = new QMenu(menu_);
    auto* const choices = new QActionGroup(menu);
    for (int at = 0; at < row_->count(); ++at) {
        QAction* const choice = menu->addAction(row_->tabText(at));
        choice->setCheckable(true);
        choice->setChecked(at == row_->currentIndex());
        choice->setShortcut(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + at));
        choices->addAction(choice);
        addAction(choice); // for its key
        connect(choice, &QAction::triggered, row_, [this, at] { row_->setCurrentIndex(at); });
    }
    menu_->setMenu(menu);
    menu_->setPopupMode(QToolButton::InstantPopup);
    menu_->setFocusPolicy(Qt::TabFocus);
    menu_->setIcon(tessivar::icon("filter"));
    menu_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    menu_->setStyleSheet("QToolButton::menu-indicator { image: none; }");
    menu_->setText(row_->tabText(row_->currentIndex()));
}

void StateFilter::showCounts(const DownloadsModel::Summary& summary) {
    for (int at = 0; at < row_->count(); ++at) {
        const auto& [group, name] = groups[static_cast<std::size_t>(at)];
        const QString text = withCount(name, summary.in(group));
        if (row_->tabText(at) != text) {
            row_->setTabText(at, text);
            menu_->menu()->actions()[at]->setText(text);
        }
    }
    menu_->setText(row_->tabText(row_->currentIndex()));
    layOut();
}

void StateFilter::showGroup(StateGroup group) {
    const QSignalBlocker quiet(this);
    const auto* const found = std::ranges::find(groups, group, &std::pair<StateGroup, const char*>::first);
    row_->setCurrentIndex(static_cast<int>(found - groups.begin()));
}

QMenu& StateFilter::menu() const {
    return *menu_->menu();
}

QSize StateFilter::sizeHint() const {
    return row_->sizeHint();
}

QSize StateFilter::minimumSizeHint() const {
    return {menu_->sizeHint().width(), row_->sizeHint().height()};
}

void StateFilter::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layOut();
}

/// The keyboard stays with the one that is there.
void StateFilter::layOut() {
    const bool fits = row_->sizeHint().width() <= width();
    QWidget* const shown = fits ? static_cast<QWidget*>(row_) : menu_;
    QWidget* const other = fits ? static_cast<QWidget*>(menu_) : row_;
    const int width = std::min(shown->sizeHint().width(), this->width());
    const QRect place(0, 0, width, height());
    shown->setGeometry(layoutDirection() == Qt::RightToLeft ? place.translated(this->width() - width, 0)
                                                            : place);
    const bool hadFocus = other->hasFocus();
    shown->show();
    other->hide();
    if (hadFocus) {
        shown->setFocus();
    }
}

} // namespace fluvane
