// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/FolderSpace.h"
#include "Fluvane/UI/Models/NewDownloadDraft.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

#include <cstdint>
#include <optional>
#include <vector>

class QAction;
class QCheckBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QToolButton;

namespace fluvane {

class ClipboardOffer;
class FolderChoice;
class LinksEdit;
class LinksModel;

/// Where links become downloads. Nothing is downloaded before the user says so here. What was typed stays
/// when it is closed.
class NewDownloadWindow : public QWidget {
    Q_OBJECT

public:
    /// What it is given must outlive it.
    NewDownloadWindow(WindowContext& context, RecentFolders& recentFolders);

    /// Adds to what is typed already. The referrer and the session are those of these links.
    void fill(const std::vector<URL>& links, const std::optional<URL>& referrer,
              const SharedSession& session = nullptr);
    /// Takes the clipboard's links into an empty text, selected, so that typing replaces them; otherwise asks
    /// whether to add them.
    void offerClipboard();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void makeWidgets();
    [[nodiscard]] QWidget* makeList();
    [[nodiscard]] QWidget* makeOptions();
    [[nodiscard]] QWidget* makeButtons();
    void drawIcons();
    void connectDraft();
    void connectWidgets();
    QAction* addCommand(const QString& text, const QList<QKeySequence>& keys,
                        void (NewDownloadWindow::*command)());
    void addCommands();

    void clipboardFound(const std::vector<URL>& links);
    [[nodiscard]] bool areListed(const std::vector<URL>& links) const;
    [[nodiscard]] std::vector<URL> notTyped(const std::vector<URL>& links) const;
    void dropUntouched();
    void showRows();
    void showCount();
    void showSentences();
    void showDestination();
    void showButtons();
    void showName();
    void nameTyped(const QString& typed);
    void rename();
    void showOptions(bool shown);
    void showRecentFolders();
    void toggleAll();
    void chooseFolder();
    void download();
    void added(const std::vector<DownloadID>& ids, const std::optional<URL>& folder);

    WindowContext& context_;
    RecentFolders& recentFolders_;
    NewDownloadDraft draft_;
    FolderSpace space_;
    tessivar::Subscription settingsChanges_;
    LinksModel* model_;
    LinksEdit* text_ = nullptr;
    ClipboardOffer* clipboard_ = nullptr;
    QLabel* note_ = nullptr;
    QWidget* links_ = nullptr; ///< The list and what is above it.
    QCheckBox* all_ = nullptr;
    QListView* list_ = nullptr;
    QLineEdit* name_ = nullptr; ///< Of the only link that is wanted.
    QLabel* about_ = nullptr;
    std::vector<QWidget*> nameParts_;
    FolderChoice* folder_ = nullptr;
    QLabel* destination_ = nullptr;
    QToolButton* more_ = nullptr;
    std::vector<QWidget*> options_; ///< Shown on demand.
    QLineEdit* checksum_ = nullptr;
    QLabel* algorithm_ = nullptr;
    QLineEdit* referrer_ = nullptr;
    QLabel* warning_ = nullptr;
    QLabel* objection_ = nullptr;
    QPushButton* download_ = nullptr;
    QAction* downloadAction_ = nullptr;
    QString prefilled_; ///< What was taken from the clipboard, until it is changed.
    std::vector<URL> offered_;
    bool mayPrefill_ = false;
    bool downloadWhenRead_ = false;
};

} // namespace fluvane
