// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QMainWindow>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace fluvane {

/// What a user was looking at on the list.
struct DownloadsPlace {
    std::vector<DownloadID> selected{};
    DownloadID current{};
    int scroll = 0; ///< Pixels.
    QString search{};
};

/// The list of downloads with everything that can be done with them, and the details of the selection. Does
/// nothing while it is hidden; closing it only hides it. With many downloads it holds many megabytes: one
/// that isn't seen can be replaced later by another at the same place.
class DownloadsWindow : public QMainWindow {
    Q_OBJECT

public:
    /// Its size, layout, order and filter are remembered in that file; without one they aren't.
    explicit DownloadsWindow(WindowContext& context, const QString& stateFile = {});
    ~DownloadsWindow() override;

    /// Selects those and nothing else, and opens the details if asked to; a filter that hides one of them is
    /// taken away. Numbers that name none are passed over; nothing is done where all do.
    void select(const std::vector<DownloadID>& ids, bool withDetails);
    /// Shows a sentence in the line at the bottom, for some seconds.
    void tell(const QString& sentence);
    /// Opens New Download with the clipboard's links, or empty when there are none.
    void pasteLinks();

    [[nodiscard]] DownloadsPlace place() const;
    void goTo(const DownloadsPlace& place);

    /// The user closed the window, rather than the program.
    Q_SIGNAL void closedByUser();

protected:
    bool event(QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    class Content;
    std::unique_ptr<Content> content_;
};

} // namespace fluvane
