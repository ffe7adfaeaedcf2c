// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/RulesPane.h"

#include "Fluvane/UI/Models/RuleTrial.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "Fluvane/UI/Settings/RuleDelegate.h"
#include "Fluvane/UI/Settings/RuleEditor.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListView>
#include <QSignalBlocker>
#include <QToolButton>
#include <QUuid>

#include <algorithm>
#include <vector>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr int leastRows = 2; ///< Seen, however small the window is.

std::string freshId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

FolderOf folderOf(const LiveConfig& live) {
    return [&live](const std::optional<std::string>& path) { return live.folder(path); };
}

QToolButton* buttonFor(QAction* action) {
    auto* const button = new QToolButton;
    button->setObjectName(action->objectName() + "Button");
    button->setDefaultAction(action);
    button->setAccessibleName(action->text().remove("…"));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

/// Buttons side by side that say what they do as far as there is room; the last ones go without words first.
class ButtonRow : public QWidget {
public:
    ButtonRow(const std::vector<QAction*>& first, const std::vector<QAction*>& last, QWidget* parent)
        : QWidget(parent), layout_(new QHBoxLayout(this)) {
        layout_->setContentsMargins(0, 0, 0, 0);
        layout_->setSpacing(spacing::medium);
        add(first);
        layout_->addStretch();
        add(last);
    }

    /// That of the pane is smaller than all words together.
    [[nodiscard]] QSize minimumSizeHint() const override { return {0, QWidget::minimumSizeHint().height()}; }

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        fit();
    }

private:
    void add(const std::vector<QAction*>& actions) {
        for (QAction* const action : actions) {
            layout_->addWidget(buttons_.emplace_back(buttonFor(action)));
        }
    }

    void fit() {
        for (QToolButton* const each : buttons_) {
            each->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        }
        for (auto each = buttons_.rbegin(); each != buttons_.rend() && isTooWide(); ++each) {
            (*each)->setToolButtonStyle(Qt::ToolButtonIconOnly);
        }
    }

    [[nodiscard]] bool isTooWide() const {
        int together = -spacing::medium;
        for (const QToolButton* const each : buttons_) {
            together += each->sizeHint().width() + spacing::medium;
        }
        return together > width();
    }

    QHBoxLayout* layout_;
    std::vector<QToolButton*> buttons_;
};

} // namespace

RulesPane::RulesPane(LiveConfig& live)
    : live_(live), model_(new RulesModel(folderOf(live), this)), list_(new QListView(this)),
      empty_(new tessivar::QuietLabel(
          qPhrase("No rules yet. Add one to send archives, videos or the files of a site to a folder "
                  "of their own."),
          list_)),
      trial_(new QLineEdit(this)), trialResult_(new tessivar::QuietLabel({}, this)),
      add_(action("addRule", qPhrase("Add…"), "plus", {}, &RulesPane::addRule)),
      edit_(action("editRule", qPhrase("Edit…"), "edit", {Qt::Key_Return, Qt::Key_Enter, Qt::Key_F2},
                   &RulesPane::editRule)),
      duplicate_(action("duplicateRule", qPhrase("Duplicate"), "copy", {Qt::CTRL | Qt::Key_D},
                        &RulesPane::duplicateRule)),
      delete_(
          action("deleteRule", qPhrase("Delete"), "trash", {QKeySequence::Delete}, &RulesPane::deleteRule)),
      earlier_(action("moveRuleEarlier", qPhrase("Move Up"), "up", {Qt::ALT | Qt::Key_Up},
                      &RulesPane::moveEarlier)),
      later_(action("moveRuleLater", qPhrase("Move Down"), "down", {Qt::ALT | Qt::Key_Down},
                    &RulesPane::moveLater)) {
    addText(qPhrase("Rules send files to folders of their own and can limit the connections to a site. "
                    "Where several fit a file, the uppermost decides its folder."));
    addList();
    addButtons();
    addTrial();
    live_.show(this, [this](const Config& config) { follow(config); });
}

QAction* RulesPane::action(const char* name, const QString& text, const char* icon,
                           const QList<QKeySequence>& keys, void (RulesPane::*work)()) {
    auto* const made = new QAction(tessivar::icon(icon), text, this);
    made->setObjectName(name);
    made->setShortcuts(keys);
    made->setShortcutContext(Qt::WidgetShortcut);
    connect(made, &QAction::triggered, this, work);
    list_->addAction(made);
    return made;
}

void RulesPane::addList() {
    list_->setObjectName("rules");
    list_->setAccessibleName(qPhrase("Rules"));
    list_->setModel(model_);
    list_->setItemDelegate(new RuleDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setTextElideMode(Qt::ElideMiddle);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setDragDropMode(QAbstractItemView::InternalMove);
    list_->setDefaultDropAction(Qt::MoveAction);
    list_->setContextMenuPolicy(Qt::ActionsContextMenu);
    list_->setMinimumHeight(leastRows * (2 * list_->fontMetrics().height() + 3 * spacing::small));
    auto* const inside = new QHBoxLayout(list_);
    inside->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    inside->addWidget(empty_, 0, Qt::AlignCenter);
    empty_->setAlignment(Qt::AlignCenter);
    addWide(list_, 1);
    connect(list_, &QListView::doubleClicked, this, &RulesPane::editRule);
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RulesPane::showWhatApplies);
    connect(model_, &QAbstractItemModel::rowsMoved, this, &RulesPane::setOrder);
}

void RulesPane::addButtons() {
    earlier_->setToolTip(qPhrase("Move up: it decides before the rules below it (Alt+Up)"));
    later_->setToolTip(qPhrase("Move down: the rules above it decide first (Alt+Down)"));
    addWide(new ButtonRow({add_, edit_, duplicate_, delete_}, {earlier_, later_}, this));
}

void RulesPane::addTrial() {
    trial_->setObjectName("tryRules");
    trial_->setPlaceholderText(qPhrase("A link or a file name"));
    trial_->setClearButtonEnabled(true);
    trialResult_->setObjectName("trialResult");
    trial_->setAccessibleName(qPhrase("Try the rules on a link or a file name"));
    addHeading(qPhrase("Try the rules"));
    addWide(trial_);
    addWide(trialResult_);
    connect(trial_, &QLineEdit::textChanged, this, &RulesPane::tryRules);
}

void RulesPane::showEvent(QShowEvent* event) {
    Form::showEvent(event);
    showWhatApplies();
}

void RulesPane::hideEvent(QHideEvent* event) {
    Form::hideEvent(event);
    showWhatApplies();
}

int RulesPane::row() const {
    const auto selected = list_->selectionModel()->selectedRows();
    return selected.isEmpty() ? -1 : selected.first().row();
}

/// Whatever keys are down meanwhile, which the view's own way would ask about.
void RulesPane::selectRow(int row) {
    list_->selectionModel()->setCurrentIndex(model_->index(row), QItemSelectionModel::ClearAndSelect);
}

void RulesPane::select(const std::string& id) {
    const int found = model_->rowOf(id);
    if (found >= 0) {
        selectRow(found);
        list_->scrollTo(model_->index(found));
    }
}

/// The selected rule stays selected wherever it goes; where it is gone, its place does.
void RulesPane::follow(const Config& config) {
    const int place = row();
    const auto id = place < 0 ? std::string() : model_->rules()[static_cast<std::size_t>(place)].id;
    model_->setRules(config.rules);
    if (place >= 0 && model_->rowOf(id) < 0) {
        selectRow(std::min(place, model_->rowCount() - 1));
    } else {
        select(id);
    }
    empty_->setVisible(model_->rowCount() == 0);
    showWhatApplies();
    tryRules();
}

void RulesPane::showWhatApplies() {
    const int selected = row();
    const bool shown = isVisible();
    add_->setEnabled(shown);
    for (QAction* const each : {edit_, duplicate_, delete_}) {
        each->setEnabled(shown && selected >= 0);
    }
    earlier_->setEnabled(shown && selected > 0);
    later_->setEnabled(shown && selected >= 0 && selected + 1 < model_->rowCount());
}

void RulesPane::tryRules() {
    const auto trial = RuleTrial::of(trial_->text().toStdString(), live_.config(), folderOf(live_));
    const bool both = !trial.site.empty();
    const QString text = QString::fromStdString(trial.folder + (both ? "\n" : "") + trial.site);
    trialResult_->setText(text.isEmpty() ? qPhrase("Which folder would it go to?") : text);
    trial_->setAccessibleDescription(trialResult_->text());
    if (!trial.id.empty()) {
        select(trial.id);
    }
}

void RulesPane::addRule() {
    openEditor({}, {});
}

void RulesPane::editRule() {
    if (row() >= 0) {
        const Rule& rule = model_->rules()[static_cast<std::size_t>(row())];
        openEditor(RuleDraft::of(rule), rule.id);
    }
}

void RulesPane::openEditor(const RuleDraft& draft, const std::string& id) {
    auto* const editor = new RuleEditor(draft, id, folderOf(live_), window());
    connect(editor, &RuleEditor::saved, this, [this, editor](const Rule& rule) {
        const auto failed = connect(&live_, &LiveConfig::failed, editor, &RuleEditor::say);
        const bool stored = store(rule);
        disconnect(failed);
        if (stored) {
            editor->close();
        }
    });
    editor->open();
}

/// Takes the place of the rule with its id; one that was deleted meanwhile is as good as new.
bool RulesPane::store(const Rule& rule) {
    const bool stored = live_.change([&](Config& config) {
        const auto old = std::ranges::find(config.rules, rule.id, &Rule::id);
        if (old == config.rules.end()) {
            config.rules.push_back(rule);
        } else {
            *old = rule;
        }
    });
    if (stored) {
        select(rule.id);
        list_->setFocus();
    }
    return stored;
}

void RulesPane::duplicateRule() {
    const Rule original = model_->rules()[static_cast<std::size_t>(row())];
    Rule copy = original;
    copy.id = freshId();
    if (live_.change([&](Config& config) {
            const auto place = std::ranges::find(config.rules, original.id, &Rule::id);
            config.rules.insert(place == config.rules.end() ? place : place + 1, copy);
        })) {
        select(copy.id);
    }
}

void RulesPane::deleteRule() {
    const auto id = model_->rules()[static_cast<std::size_t>(row())].id;
    live_.change([&](Config& config) {
        std::erase_if(config.rules, [&](const Rule& rule) { return rule.id == id; });
    });
}

void RulesPane::moveEarlier() {
    move(row(), row() - 1);
}

void RulesPane::moveLater() {
    move(row(), row() + 2);
}

void RulesPane::move(int from, int before) {
    if (model_->moveRow({}, from, {}, before)) {
        showWhatApplies();
    }
}

bool RulesPane::setOrder() {
    return live_.change([this](Config& config) { config.rules = model_->rules(); });
}

} // namespace fluvane
