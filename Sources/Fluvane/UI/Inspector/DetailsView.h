// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RunningConnections.h"
#include "Fluvane/UI/Models/SpeedHistory.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

class QLabel;
class QTreeView;

namespace fluvane {

class ConnectionsModel;
class DetailRows;
class ElidedLabel;
class GoneFiles;
class Notice;
class PiecesMap;
class SpeedGraph;

/// Everything about one download, from top to bottom.
class DetailsView : public QWidget {
    Q_OBJECT

public:
    DetailsView(WindowContext& context, SpeedHistory& history, QWidget* parent = nullptr);
    /// To be called again and again while it is on screen; what looks the same isn't touched.
    void follow(const Download& download);

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void build();
    [[nodiscard]] QWidget* pieces();
    [[nodiscard]] QWidget* connections();
    [[nodiscard]] QWidget* speed();
    void followHead(const Download& download, Date now);
    void followTransfer(const Download& download);
    void followSpeed(const Download& download);
    void tellPiece(const QString& words);
    void fitColumns();
    void fitRows();

    WindowContext& context_;
    SpeedHistory& history_;
    GoneFiles& gone_;
    DownloadID id_{};
    RunningConnections running_;

    ElidedLabel* name_;
    QLabel* line_;
    Notice* notice_;
    PiecesMap* map_;
    QLabel* piece_;
    QString allPieces_;
    QWidget* piecesSection_;
    ConnectionsModel* model_;
    QTreeView* table_;
    QWidget* connectionsSection_;
    SpeedGraph* graph_;
    QLabel* speedWords_;
    QWidget* speedSection_;
    DetailRows* rows_;
};

} // namespace fluvane
