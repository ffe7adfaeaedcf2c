// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/DownloadsModel.h"

#include <QWidget>

class QMenu;
class QTabBar;
class QToolButton;

namespace fluvane {

/// Which downloads are shown, by state, each with its number: in a row, or as a menu where that has no room.
class StateFilter : public QWidget {
    Q_OBJECT

public:
    explicit StateFilter(QWidget* parent = nullptr);

    void showCounts(const DownloadsModel::Summary& summary);
    void showGroup(StateGroup group);
    /// The same choices, each with its key.
    [[nodiscard]] QMenu& menu() const;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

    /// By the user.
    Q_SIGNAL void groupChosen(fluvane::StateGroup group);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeMenu();
    void layOut();

    QTabBar* row_;
    QToolButton* menu_;
};

} // namespace fluvane
