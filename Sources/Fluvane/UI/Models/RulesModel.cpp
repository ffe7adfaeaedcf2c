// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RulesModel.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "FluvaneCore/RuleWords.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::phrase;
using tessivar::phrases;
using tessivar::qPhraseIn;

namespace {

QString condition(const Rule& rule) {
    return QString::fromStdString(words::oneLine(words::rule(rule)));
}

const char* iconOf(FileKind kind) {
    switch (kind) {
    case FileKind::diskImages:
        return "kind-disk-image";
    case FileKind::archives:
        return "kind-archive";
    case FileKind::video:
        return "kind-video";
    case FileKind::audio:
        return "kind-audio";
    case FileKind::documents:
        return "kind-document";
    case FileKind::images:
        return "kind-image";
    }
    return "kind-file";
}

QString iconOf(const Rule& rule) {
    const auto* const kind = std::get_if<Rule::Kind>(&rule.match);
    const bool isSite = std::holds_alternative<Rule::Site>(rule.match);
    return kind ? iconOf(kind->kind) : isSite ? "link" : "kind-file";
}

} // namespace

std::string ruleEffect(const Rule& rule, const FolderOf& folderOf) {
    const bool limits = rule.connections && std::holds_alternative<Rule::Site>(rule.match);
    const int most = limits ? *rule.connections : 0;
    if (!rule.folder) {
        return limits ? phrases("At most %1 connection", "At most %1 connections", most)
                      : phrase("Does nothing yet: it names no folder");
    }
    const std::string folder = folderText(folderOf(rule.folder));
    return limits ? phrases("Go to %2, over at most %1 connection", "Go to %2, over at most %1 connections",
                            most, folder)
                  : phrase("Go to %1", folder);
}

RulesModel::RulesModel(FolderOf folderOf, QObject* parent)
    : QAbstractListModel(parent), folderOf_(std::move(folderOf)) {}

int RulesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rules_.size());
}

QVariant RulesModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const Rule& rule = rules_[static_cast<std::size_t>(index.row())];
    const QString effect = QString::fromStdString(ruleEffect(rule, folderOf_));
    switch (role) {
    case Qt::DisplayRole:
        return condition(rule);
    case EffectRole:
        return effect;
    case IconRole:
        return iconOf(rule);
    case Qt::AccessibleTextRole:
        return qPhraseIn("name and value", "%1: %2", condition(rule), effect);
    case Qt::ToolTipRole:
        return plainToolTip(qPhraseIn("name and value", "%1: %2", condition(rule), effect));
    default:
        return {};
    }
}

/// Rows go between rows, never onto one.
Qt::ItemFlags RulesModel::flags(const QModelIndex& index) const {
    return index.isValid()
               ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren
               : Qt::ItemIsDropEnabled;
}

bool RulesModel::moveRows(const QModelIndex& sourceParent, int sourceRow, int count,
                          const QModelIndex& destinationParent, int destinationChild) {
    const int rows = rowCount();
    if (count < 1 || sourceRow < 0 || sourceRow + count > rows || destinationChild < 0 ||
        destinationChild > rows ||
        !beginMoveRows(sourceParent, sourceRow, sourceRow + count - 1, destinationParent, destinationChild)) {
        return false;
    }
    const auto first = rules_.begin() + sourceRow;
    const auto target = rules_.begin() + destinationChild;
    if (destinationChild < sourceRow) {
        std::rotate(target, first, first + count);
    } else {
        std::rotate(first, first + count, target);
    }
    endMoveRows();
    return true;
}

void RulesModel::setRules(const std::vector<Rule>& rules) {
    if (rules == rules_) {
        return;
    }
    if (!std::ranges::equal(rules, rules_, {}, &Rule::id, &Rule::id)) {
        beginResetModel();
        rules_ = rules;
        endResetModel();
        return;
    }
    rules_ = rules;
    Q_EMIT dataChanged(index(0), index(rowCount() - 1));
}

int RulesModel::rowOf(const std::string& id) const {
    const auto found = std::ranges::find(rules_, id, &Rule::id);
    return found == rules_.end() ? -1 : static_cast<int>(found - rules_.begin());
}

} // namespace fluvane
