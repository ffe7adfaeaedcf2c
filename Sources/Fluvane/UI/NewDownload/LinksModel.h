// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/NewDownloadDraft.h"

#include <QAbstractListModel>

namespace fluvane {

/// The links of a draft as rows with check boxes. What is said about a row is made when it is asked for.
class LinksModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        DetailRole = Qt::UserRole + 1, ///< Where it comes from and goes to.
        MarkRole,                      ///< What is special about it; empty for most.
        IconRole,                      ///< Name of the icon for the file's kind.
    };

    /// The draft must outlive it.
    explicit LinksModel(NewDownloadDraft& draft, QObject* parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    [[nodiscard]] QString detail(std::size_t row) const;
    [[nodiscard]] QString sentence(std::size_t row) const;
    [[nodiscard]] QString toolTip(std::size_t row) const;

    NewDownloadDraft& draft_;
    std::size_t rows_ = 0; ///< As the views know.
};

} // namespace fluvane
