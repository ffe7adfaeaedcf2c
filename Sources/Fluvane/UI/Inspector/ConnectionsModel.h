// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RunningConnections.h"

#include <QAbstractTableModel>
#include <QPalette>

#include <vector>

namespace fluvane {

/// A running download's connections as rows, in the order of their numbers. Tells only of rows that changed.
class ConnectionsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { Number, Span, Done, Speed, columns };

    using QAbstractTableModel::QAbstractTableModel;

    void follow(const std::vector<RunningConnection>& connections);
    /// How the numbers are drawn.
    void setLook(const QPalette& palette, qreal scale);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString text(const RunningConnection& connection, int column) const;
    [[nodiscard]] QString sentence(const RunningConnection& connection) const;
    void removeEnded(const std::vector<RunningConnection>& connections);

    std::vector<RunningConnection> rows_;
    QPalette palette_;
    qreal scale_ = 1;
};

} // namespace fluvane
