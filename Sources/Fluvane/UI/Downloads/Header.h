// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Downloads/DownloadActions.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"

#include <QWidget>

#include <vector>

class QAction;
class QHBoxLayout;
class QLineEdit;
class QMenu;
class QToolButton;

namespace fluvane {

class StateFilter;

/// The top of the Downloads window: what can be done, the search, and the filter by state with its numbers.
/// Buttons keep their places, disabled while their actions don't apply; with little room only their icons are
/// left, and the rarer ones go; with much, all say what they do.
class Header : public QWidget {
    Q_OBJECT

public:
    Header(QAction* newDownload, QAction* clearFinished, const DownloadActions& actions, QMenu* menu,
           DownloadsFilter& filter);

    void showCounts(const DownloadsModel::Summary& summary);
    void showGroup(StateGroup group);
    [[nodiscard]] QLineEdit& search() { return *search_; }
    [[nodiscard]] QMenu& filterMenu();

    Q_SIGNAL void groupChosen(fluvane::StateGroup group);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QToolButton* button(QAction* action);
    void addTools(const DownloadActions& actions);
    void addTool(QAction* action, QAction* other);
    [[nodiscard]] QToolButton* named(const char* name) const;
    void fit();

    std::vector<QToolButton*> buttons_;
    QToolButton* newDownload_;
    QLineEdit* search_;
    StateFilter* groups_;
    QToolButton* clear_;
    QHBoxLayout* tools_ = nullptr;
};

} // namespace fluvane
