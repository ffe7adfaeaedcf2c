// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RulesModel.h"

#include <QWidget>

#include <optional>
#include <string>

class QPushButton;
class QToolButton;

namespace fluvane {

/// A folder, which is chosen by pressing it, and a button that goes back to none.
class FolderButton : public QWidget {
    Q_OBJECT

public:
    struct Texts {
        QString none;  ///< Shown while no folder is chosen.
        QString clear; ///< What the button that takes the choice back says.
    };
    FolderButton(FolderOf folderOf, const Texts& texts, QWidget* parent = nullptr);

    /// As settings keep it.
    [[nodiscard]] const std::optional<std::string>& folder() const { return folder_; }
    void setFolder(const std::optional<std::string>& folder);

    /// By the user.
    Q_SIGNAL void chosen();

private:
    void ask();
    void choose(const std::optional<std::string>& folder);

    FolderOf folderOf_;
    QString none_;
    std::optional<std::string> folder_;
    QPushButton* button_;
    QToolButton* clear_;
};

} // namespace fluvane
