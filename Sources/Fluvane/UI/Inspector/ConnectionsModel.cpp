// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ConnectionsModel.h"

#include "Fluvane/UI/Inspector/ConnectionLook.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <algorithm>
#include <array>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

namespace {

constexpr int swatchHeight = 14;

std::int64_t done(const RunningConnection& connection) {
    return std::max<std::int64_t>(connection.reached - connection.start, 0);
}

QString shown(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace

void ConnectionsModel::follow(const std::vector<RunningConnection>& connections) {
    removeEnded(connections);
    for (std::size_t i = 0; i < connections.size(); ++i) {
        const int row = static_cast<int>(i);
        if (i == rows_.size() || rows_[i].number != connections[i].number) {
            beginInsertRows({}, row, row);
            rows_.insert(rows_.begin() + row, connections[i]);
            endInsertRows();
        } else if (rows_[i] != connections[i]) {
            rows_[i] = connections[i];
            Q_EMIT dataChanged(index(row, 0), index(row, columns - 1));
        }
    }
}

void ConnectionsModel::removeEnded(const std::vector<RunningConnection>& connections) {
    for (std::size_t i = rows_.size(); i-- > 0;) {
        if (std::ranges::find(connections, rows_[i].number, &RunningConnection::number) ==
            connections.end()) {
            const int row = static_cast<int>(i);
            beginRemoveRows({}, row, row);
            rows_.erase(rows_.begin() + row);
            endRemoveRows();
        }
    }
}

void ConnectionsModel::setLook(const QPalette& palette, qreal scale) {
    palette_ = palette;
    scale_ = scale;
    if (!rows_.empty()) {
        Q_EMIT dataChanged(index(0, Number), index(rowCount() - 1, Number), {Qt::DecorationRole});
    }
}

int ConnectionsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ConnectionsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant ConnectionsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) {
        return {};
    }
    const auto& connection = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return text(connection, index.column());
    case Qt::AccessibleTextRole: // of each cell what the others don't say
        return index.column() == Number ? qPhrase("Connection %1", connection.number)
                                        : text(connection, index.column());
    case Qt::ToolTipRole:
        return sentence(connection);
    case Qt::DecorationRole:
        return index.column() == Number
                   ? connectionLook::swatch(connection.number, swatchHeight, scale_, palette_)
                   : QVariant();
    case Qt::TextAlignmentRole:
        return int(Qt::AlignVCenter | (index.column() >= Done ? Qt::AlignRight : Qt::AlignLeft));
    default:
        return {};
    }
}

QString ConnectionsModel::text(const RunningConnection& connection, int column) const {
    switch (column) {
    case Span:
        return shown(words::span(connection.start, connection.end));
    case Done:
        return shown(words::bytes(done(connection)));
    case Speed:
        return connection.flows ? shown(words::speed(connection.speed)) : qPhrase("connecting");
    default:
        return {}; // the swatch has the number
    }
}

QString ConnectionsModel::sentence(const RunningConnection& connection) const {
    const auto length = connection.end ? std::optional(*connection.end - connection.start) : std::nullopt;
    const QString amount = length ? qPhrase("%1 of %2", words::bytes(done(connection)), words::bytes(*length))
                                  : shown(words::bytes(done(connection)));
    return qPhrase("Connection %1: %2, %3, %4", connection.number, text(connection, Span), amount,
                   text(connection, Speed));
}

QVariant ConnectionsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static constexpr std::array<const char*, columns> titles = {"", marked("Piece"), marked("Done"),
                                                                marked("Speed")};
    if (orientation != Qt::Horizontal || section < 0 || section >= columns) {
        return {};
    }
    if (role == Qt::TextAlignmentRole) {
        return int(Qt::AlignVCenter | (section >= Done ? Qt::AlignRight : Qt::AlignLeft));
    }
    if (role == Qt::AccessibleTextRole && section == Number) {
        return qPhrase("Number");
    }
    return role == Qt::DisplayRole ? QVariant(qPhrase(titles[static_cast<std::size_t>(section)]))
                                   : QVariant();
}

} // namespace fluvane
