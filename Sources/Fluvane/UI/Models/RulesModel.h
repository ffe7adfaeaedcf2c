// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Rules.h"
#include "FluvaneCore/URL.h"

#include <QAbstractListModel>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// The folder that a path in the settings stands for.
using FolderOf = std::function<URL(const std::optional<std::string>&)>;

/// The rules as rows, in the order in which they decide. Rows can be moved, by the view's drag and drop as
/// well; what else changes comes with `setRules`.
class RulesModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        EffectRole = Qt::UserRole + 1, ///< What the rule does, in words.
        IconRole,                      ///< Name of the icon for the files it is for.
    };

    explicit RulesModel(FolderOf folderOf, QObject* parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    bool moveRows(const QModelIndex& sourceParent, int sourceRow, int count,
                  const QModelIndex& destinationParent, int destinationChild) override;

    [[nodiscard]] const std::vector<Rule>& rules() const { return rules_; }
    /// Rows that stay in their place are only told to have changed.
    void setRules(const std::vector<Rule>& rules);
    /// The row of the rule with the id, or -1.
    [[nodiscard]] int rowOf(const std::string& id) const;

private:
    FolderOf folderOf_;
    std::vector<Rule> rules_;
};

/// What a rule does with the files it is for: "Go to ~/Videos", "At most 2 connections".
[[nodiscard]] std::string ruleEffect(const Rule& rule, const FolderOf& folderOf);

} // namespace fluvane
