// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RulesModel.h"
#include "Fluvane/UI/Settings/Form.h"

#include <array>
#include <functional>

class QAction;
class QLineEdit;
class QListView;

namespace fluvane {

class LiveConfig;
struct Config;
struct RuleDraft;

class RulesPane : public Form {
    Q_OBJECT

public:
    explicit RulesPane(LiveConfig& live);

    /// What can be done with rules, for the window to list.
    [[nodiscard]] std::array<QAction*, 6> ruleActions() const {
        return {add_, edit_, duplicate_, delete_, earlier_, later_};
    }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void addList();
    void addButtons();
    void addTrial();
    [[nodiscard]] QAction* action(const char* name, const QString& text, const char* icon,
                                  const QList<QKeySequence>& keys, void (RulesPane::*work)());
    [[nodiscard]] int row() const;
    void selectRow(int row);
    void select(const std::string& id);
    void follow(const Config& config);
    void showWhatApplies();
    void tryRules();

    void addRule();
    void editRule();
    void duplicateRule();
    void deleteRule();
    void moveEarlier();
    void moveLater();
    void move(int from, int before);
    void openEditor(const RuleDraft& draft, const std::string& id);
    bool store(const Rule& rule);
    bool setOrder();

    LiveConfig& live_;
    RulesModel* model_;
    QListView* list_;
    QLabel* empty_;
    QLineEdit* trial_;
    tessivar::QuietLabel* trialResult_;
    QAction* add_;
    QAction* edit_;
    QAction* duplicate_;
    QAction* delete_;
    QAction* earlier_;
    QAction* later_;
};

} // namespace fluvane
