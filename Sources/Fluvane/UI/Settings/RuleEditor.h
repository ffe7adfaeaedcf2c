// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RuleDraft.h"
#include "Fluvane/UI/Models/RulesModel.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace fluvane {

class FolderButton;
class Form;

/// The questions about one rule. Deletes itself when it is closed.
class RuleEditor : public QDialog {
    Q_OBJECT

public:
    /// The rule to be changed, or an empty one for a new rule. With an empty id it gets one of its own.
    RuleEditor(const RuleDraft& draft, std::string id, FolderOf folderOf, QWidget* parent);

    Q_SIGNAL void saved(const fluvane::Rule& rule);
    /// Why it couldn't be saved after that; the editor stays open.
    void say(const QString& sentence);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void build();
    void addFields();
    void fill(const RuleDraft& draft);
    void showFields();
    void fit();
    void tidyFields();
    [[nodiscard]] RuleDraft draft() const;
    [[nodiscard]] QWidget* field(RuleDraft::Field field) const;
    void save();

    std::string id_;
    QComboBox* matches_;
    QComboBox* kind_;
    QLabel* kindHint_;
    QLabel* folderHint_;
    QLineEdit* extensions_;
    QLineEdit* site_;
    FolderButton* folder_;
    QCheckBox* limits_;
    QSpinBox* connections_;
    Form* form_;
    QLabel* problem_;
};

} // namespace fluvane
