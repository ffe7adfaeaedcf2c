#pragma once

#include "Fluvane/UI/Models/NewDownloadDraft.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

#include <optional>
#include <vector>

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

    /// Adds to what is typed already. The referrer is that of these links.
    void fill(const std::vector<URL>& links, const std::optional<URL>& referrer);
    /// Takes the clipboard's links into an empty text, selected, so that typing replaces them; otherwise asks
    /// whether to add them.
    void offerClipboard();

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    [[nodiscard]] QWidget* makeLinks();
    [[nodiscard]] QWidget* makeOptions();
    [[nodiscard]] QWidget* makeButtons();
    void connectAll();
    void addActions();
    void addLinks(const std::vector<URL>& links, const std::optional<URL>& referrer);
    void showDraft();
    void showNotes();
    void showOptions(bool shown);
    void download();
    void downloadWhenRead();
    void downloaded(const std::vector<std::int64_t>& ids);

    WindowContext& context_;
    RecentFolders& recentFolders_;
    NewDownloadDraft draft_;
    LinksModel* model_;
    LinksEdit* text_ = nullptr;
    ClipboardOffer* clipboard_ = nullptr;
    QLabel* note_ = nullptr;
    QCheckBox* all_ = nullptr;
    QListView* list_ = nullptr;
    FolderChoice* folder_ = nullptr;
    QLabel* destination_ = nullptr;
    QToolButton* more_ = nullptr;
    QWidget* options_ = nullptr;
    QLineEdit* checksum_ = nullptr;
    QLabel* algorithm_ = nullptr;
    QLineEdit* referrer_ = nullptr;
    QLabel* objection_ = nullptr;
    QPushButton* download_ = nullptr;
    bool downloadWhenRead_ = false;
};

} // namespace fluvane
