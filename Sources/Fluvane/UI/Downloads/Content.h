// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Downloads/DownloadActions.h"
#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Downloads/WindowMemory.h"
#include "Fluvane/UI/Models/DownloadsFilter.h"

#include <QPointer>
#include <QTimer>

#include <cstdint>
#include <set>
#include <vector>

class QActionGroup;
class QItemSelection;
class QLabel;
class QLayout;
class QMenu;
class QMimeData;
class QSplitter;
class QStackedWidget;
class QToolButton;

namespace fluvane {

class DownloadsList;
class DropTarget;
class Header;
class Inspector;
class SpeedLimitMenu;

/// What the Downloads window is made of, and how it hangs together.
class DownloadsWindow::Content {
public:
    using IDs = DownloadActions::IDs;

    Content(DownloadsWindow& window, WindowContext& context, const QString& stateFile);

    void refresh();
    void select(IDs ids, bool withDetails);
    /// Opens New Download, where nothing is downloaded before the user says so.
    void offer(const std::vector<URL>& links);
    [[nodiscard]] DownloadsPlace place() const;
    void goTo(const DownloadsPlace& place);
    /// In the line at the bottom, for some seconds.
    void tell(const QString& message);

    /// Over all the window, while that is held above it.
    void showDropTarget(const QMimeData& data);
    void hideDropTarget();

    /// From what can't have it anymore to the list; says whether that was so.
    bool rescueFocus();

    /// The details go beside the list or below it.
    void arrange();
    void restore();
    void remember();

private:
    QAction* action(const char* name, const QString& text, const char* icon, const QKeySequence& keys,
                    std::function<void()> run);
    void makeList();
    void makeKeys();
    void makeMenu();
    void fillWithActions(QMenu& menu);
    void makeSortMenu();
    void makePages();
    void assemble();
    [[nodiscard]] QLayout* bottom();
    QToolButton* bottomButton(const char* name);
    void listKey(const QKeySequence& keys, std::function<void()> run);

    [[nodiscard]] IDs selected() const;
    [[nodiscard]] QItemSelection rowsOf(const IDs& ids) const;
    void selectRow(int row);
    void selectWhatFollows();
    void selectionChanged();
    void keepSelection();
    void restoreSelection();
    void showDetails(bool shown);
    void showInspector();
    void showAll();
    void applyOrder();
    void carryOut(RowAction action, const QModelIndex& index);
    void showMenu(const QPoint& at);
    void showMenuAtCurrent();
    void wasRemoved();
    void undoRemoval();
    void updateRemoval();
    [[nodiscard]] bool hasRoomForRemoval() const;
    void updateLimit();
    void showLimits();
    void toggleLimit();
    [[nodiscard]] IDs failed() const;
    void retryAll();
    void updatePage();
    void updateSummary();
    void leaveSearch();
    void enterResults();
    void keepShare();

    DownloadsWindow& window_;
    WindowContext& context_;
    QString stateFile_;
    WindowMemory memory_;

    DownloadsModel model_;
    DownloadsFilter filter_{model_};
    DownloadActions actions_;
    QAction* newDownload_ = nullptr;
    QAction* details_ = nullptr;
    QAction* compact_ = nullptr;
    QAction* pauseAll_ = nullptr;
    QAction* resumeAll_ = nullptr;
    QAction* retryAll_ = nullptr;
    QAction* limitSpeed_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* clearFinished_ = nullptr;
    QAction* reversed_ = nullptr;
    QActionGroup* orders_ = nullptr;
    QMenu* menu_ = nullptr;
    DownloadsList* list_ = nullptr;
    Header* header_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    QSplitter* splitter_ = nullptr;
    Inspector* inspector_ = nullptr;
    QLabel* summary_ = nullptr;
    QLabel* removal_ = nullptr; ///< Beside the button that undoes it.
    QLabel* selection_ = nullptr;
    SpeedLimitMenu* limits_ = nullptr;
    QToolButton* limit_ = nullptr;

    QPointer<DropTarget> dropTarget_; ///< While something is held above the window.

    QTimer messageEnd_;
    IDs kept_; ///< The selection while the rows are made anew.
    DownloadID keptCurrent_{};
    int keptScroll_ = 0;
    bool restoring_ = false;
    QObject here_; ///< Ends what is connected to this before anything else ends.
};

} // namespace fluvane
