// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/LinksModel.h"

#include "Fluvane/UI/Models/DownloadsModel.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

namespace fluvane {

using tessivar::qPhrase;

namespace {

QString shown(const std::string& text) {
    return QString::fromStdString(words::oneLine(text));
}

} // namespace

LinksModel::LinksModel(NewDownloadDraft& draft, QObject* parent)
    : QAbstractListModel(parent), draft_(draft), rows_(draft.rows().size()) {
    connect(&draft, &NewDownloadDraft::rowsReplaced, this, [this] {
        beginResetModel();
        rows_ = draft_.rows().size();
        endResetModel();
    });
    connect(&draft, &NewDownloadDraft::marksChanged, this, [this] {
        if (rows_ > 0) {
            Q_EMIT dataChanged(index(0), index(static_cast<int>(rows_) - 1));
        }
    });
}

int LinksModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_);
}

QVariant LinksModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    const auto row = static_cast<std::size_t>(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return shown(draft_.rows()[row].name);
    case Qt::CheckStateRole:
        return draft_.isWanted(row) ? Qt::Checked : Qt::Unchecked;
    case Qt::ToolTipRole:
        return toolTip(row);
    case Qt::AccessibleTextRole:
        return sentence(row);
    case DetailRole:
        return detail(row);
    case MarkRole:
        return QString::fromStdString(draft_.mark(row));
    case IconRole:
        return kindIcon(draft_.rows()[row].name);
    default:
        return {};
    }
}

bool LinksModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || (role != Qt::CheckStateRole && role != Qt::EditRole)) {
        return false;
    }
    if (role == Qt::EditRole) {
        draft_.setName(static_cast<std::size_t>(index.row()), value.toString().toStdString());
        return true;
    }
    draft_.setWanted(static_cast<std::size_t>(index.row()), value.value<Qt::CheckState>() == Qt::Checked);
    return true;
}

Qt::ItemFlags LinksModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | Qt::ItemIsUserCheckable | Qt::ItemIsEditable |
           Qt::ItemNeverHasChildren;
}

QString LinksModel::detail(std::size_t row) const {
    const std::string host = words::oneLine(draft_.rows()[row].link.host().value_or(""));
    return qPhrase("From %1 to %2", host, folderText(draft_.folder(row)));
}

QString LinksModel::sentence(std::size_t row) const {
    const std::string mark = draft_.mark(row);
    const auto& name = draft_.rows()[row].name;
    const QString text = draft_.isWanted(row) ? qPhrase("%1, to download. %2.", name, detail(row))
                                              : qPhrase("%1, left out. %2.", name, detail(row));
    return mark.empty() ? text : text + " " + qPhrase("%1.", mark);
}

/// Names and links come from outside: as markup they are escaped.
QString LinksModel::toolTip(std::size_t row) const {
    QString text = shown(draft_.rows()[row].name).toHtmlEscaped() + "<br>" +
                   shown(draft_.rows()[row].link.absoluteString()).toHtmlEscaped();
    if (const auto referrer = draft_.referrer(row)) {
        text += "<br>" + qPhrase("Referrer: %1", referrer->absoluteString()).toHtmlEscaped();
    }
    return "<div>" + text + "<br>" + qPhrase("F2 or a double-click changes the name.").toHtmlEscaped() +
           "</div>";
}

} // namespace fluvane
