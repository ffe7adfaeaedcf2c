// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <QComboBox>

#include <optional>
#include <vector>

namespace fluvane {

/// Where downloads go: where rules and settings say, one of the folders chosen last, or another.
class FolderChoice : public QComboBox {
    Q_OBJECT

public:
    explicit FolderChoice(QWidget* parent = nullptr);

    /// Absent: where rules and settings say.
    [[nodiscard]] const std::optional<URL>& folder() const { return folder_; }
    void setFolder(const std::optional<URL>& folder);
    void setRecent(const std::vector<URL>& folders);
    /// Whether there are rules that choose folders, which its first choice then names.
    void setRules(bool any);
    /// Asks for a folder with the desktop's dialog; returns at once. It begins at `start` unless one is
    /// chosen already.
    void browse(const URL& start);

    Q_SIGNAL void folderChosen();
    Q_SIGNAL void browseWanted();

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    void fill();
    void choose(int index);

    std::optional<URL> folder_;
    std::vector<URL> recent_;
    bool anyRules_ = false;
};

} // namespace fluvane
