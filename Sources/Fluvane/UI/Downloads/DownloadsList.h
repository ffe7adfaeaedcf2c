// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Downloads/RowPlaces.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "FluvaneCore/DownloadID.h"

#include <QElapsedTimer>
#include <QListView>
#include <QPersistentModelIndex>
#include <QPixmap>
#include <QTimer>

#include <map>

namespace fluvane {

class DownloadDelegate;
class DownloadsFilter;

/// The rows of a DownloadsFilter. Rows that come, go and change places fade into each other and bars glide,
/// unless the desktop wants no motion.
class DownloadsList : public QListView {
    Q_OBJECT

public:
    explicit DownloadsList(DownloadsFilter& filter, QWidget* parent = nullptr);

    void setRowSize(RowSize size);

    /// A click on one of the row's buttons.
    Q_SIGNAL void actionWanted(const QModelIndex& index, fluvane::RowAction action);

    /// Of a row, not of the heading above it.
    [[nodiscard]] QModelIndex indexAt(const QPoint& point) const override;

protected:
    void keyboardSearch(const QString& search) override;
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles) override;
    void paintEvent(QPaintEvent* event) override;

private:
    /// A bar on its way from one length to another.
    struct Glide {
        QPersistentModelIndex row;
        double from;
        double to;
        qint64 start; ///< By the clock.
        int drawn;    ///< In tenths of a percent: less can't be seen.
    };

    [[nodiscard]] bool isSpaceOfSearch(const QKeyEvent& event) const;
    void keepPicture();
    void glide(const QModelIndex& index);
    [[nodiscard]] double shownFraction(const QModelIndex& index, double fraction);
    [[nodiscard]] double at(const Glide& glide) const;
    [[nodiscard]] QRect barOf(const QModelIndex& index) const;
    [[nodiscard]] bool move(Glide& glide);
    void step();

    DownloadsFilter& filter_;
    DownloadDelegate* delegate_;
    QElapsedTimer clock_;
    QElapsedTimer searched_; ///< Since the last letter of a name that is typed.
    QTimer steps_;
    QPixmap before_; ///< What fades out.
    qint64 fadeStart_ = 0;
    std::map<DownloadID, double> fractions_; ///< As last drawn.
    std::map<DownloadID, Glide> glides_;
};

} // namespace fluvane
