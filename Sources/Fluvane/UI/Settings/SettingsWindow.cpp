// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "Fluvane/UI/Settings/AboutPane.h"
#include "Fluvane/UI/Settings/ConnectionsPane.h"
#include "Fluvane/UI/Settings/FilesPane.h"
#include "Fluvane/UI/Settings/GeneralPane.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "Fluvane/UI/Settings/MessageLine.h"
#include "Fluvane/UI/Settings/RulesPane.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QHBoxLayout>
#include <QListWidget>
#include <QScrollArea>
#include <QStackedWidget>

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr QSize usualSize(760, 560);
constexpr QSize leastSize(560, 360);
constexpr int sidebarWidth = 160;
constexpr int iconSide = 16;

} // namespace

SettingsWindow::SettingsWindow(WindowContext& context, Autostart& autostart, Extras extras)
    : extras_(std::move(extras)), config_(new LiveConfig(context)), message_(new MessageLine(this)),
      sidebar_(new QListWidget(this)), panes_(new QStackedWidget(this)) {
    setObjectName("settings");
    setWindowTitle(qPhrase("Settings"));
    setMinimumSize(leastSize);
    resize(usualSize);
    config_->setParent(this);
    build();

    auto* const rules = new RulesPane(*config_);
    addPane("general", qPhrase("General"), "settings",
            new GeneralPane(context, *config_, autostart, *message_));
    addPane("files", qPhrase("Files"), "folder", new FilesPane(*config_));
    addPane("rules", qPhrase("Rules"), "filter", rules);
    addPane("connections", qPhrase("Connections"), "speed", new ConnectionsPane(*config_));
    addPane("about", qPhrase("About"), "info", new AboutPane(context, *config_, extras_));
    addKeys();
    for (QAction* const action : rules->ruleActions()) {
        addAction(action);
    }
    connect(config_, &LiveConfig::failed, message_, &MessageLine::warn);
    connect(config_, &LiveConfig::saved, this, &SettingsWindow::moveOn);
    connect(sidebar_, &QListWidget::currentRowChanged, this, &SettingsWindow::moveOn);
    showPane("general");
    connect(sidebar_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && !isAsked_) {
            Q_EMIT paneShown(QString::fromStdString(names_[static_cast<std::size_t>(row)]));
        }
    });
}

/// What works with the settings goes before them.
SettingsWindow::~SettingsWindow() {
    delete panes_;
}

void SettingsWindow::build() {
    sidebar_->setObjectName("panes");
    sidebar_->setAccessibleName(qPhrase("Panes"));
    sidebar_->setFrameShape(QFrame::NoFrame);
    sidebar_->setIconSize(QSize(iconSide, iconSide));
    sidebar_->setSpacing(spacing::hair);
    auto* const right = new QVBoxLayout;
    right->setSpacing(0);
    right->addWidget(panes_, 1);
    right->addWidget(message_);
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* const side = new QWidget(this);
    side->setFixedWidth(sidebarWidth);
    side->setAutoFillBackground(true);
    side->setBackgroundRole(QPalette::Base);
    side->lower(); // is read before the panes
    auto* const beside = new QVBoxLayout(side);
    beside->setContentsMargins(spacing::small, spacing::small, spacing::small, spacing::small);
    beside->addWidget(sidebar_);
    layout->addWidget(side);
    layout->addLayout(right, 1);
    connect(sidebar_, &QListWidget::currentRowChanged, panes_, &QStackedWidget::setCurrentIndex);
}

/// A pane that doesn't fit is scrolled.
void SettingsWindow::addPane(const char* name, const QString& title, const char* icon, QWidget* pane) {
    pane->setObjectName(name);
    pane->setAccessibleName(title);
    auto* const area = new QScrollArea;
    area->setWidget(pane);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    panes_->addWidget(area);
    names_.emplace_back(name);
    auto* const item = new QListWidgetItem(tessivar::icon(icon), title, sidebar_);
    item->setSizeHint(QSize(0, fontMetrics().height() + 2 * spacing::medium));
}

void SettingsWindow::addKeys() {
    auto* const close = new QAction(qPhrase("Close"), this);
    close->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::Key_Escape)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
    for (int pane = 0; pane < sidebar_->count(); ++pane) {
        auto* const show = new QAction(sidebar_->item(pane)->text(), this);
        show->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + pane)));
        connect(show, &QAction::triggered, this, [this, pane] { sidebar_->setCurrentRow(pane); });
        addAction(show);
    }
}

void SettingsWindow::showPane(std::string_view name) {
    const auto found = std::ranges::find(names_, name);
    isAsked_ = true;
    sidebar_->setCurrentRow(found == names_.end() ? 0 : static_cast<int>(found - names_.begin()));
    isAsked_ = false;
}

void SettingsWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    tellOfProblem();
}

void SettingsWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    message_->withdrawWarning();
}

/// A warning doesn't outlive what it is about; what is wrong with the file of the settings may last.
void SettingsWindow::moveOn() {
    if (message_->withdrawWarning()) {
        tellOfProblem();
    }
}

void SettingsWindow::tellOfProblem() {
    const auto problem = extras_.problem ? extras_.problem() : std::string();
    if (!problem.empty()) {
        message_->warn(QString::fromStdString(problem));
    }
}

} // namespace fluvane
