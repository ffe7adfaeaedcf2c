// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Inspector/DownloadDialog.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// Asks for another name of a download's file. For one window of its own: call `show`, and it deletes itself
/// once closed, also when the download is removed meanwhile. What can't be done is said in it.
class RenameDialog : public DownloadDialog {
    Q_OBJECT

public:
    RenameDialog(WindowContext& context, DownloadID id);

    void accept() override;

private:
    bool stillApplies(const Download& download) const override;
    void refresh(const Download& download) override;
    void typed();
    void renamed(const Outcome<std::string>& name);

    QLineEdit* field_;
    QLabel* note_;
    QPushButton* rename_;
    bool isUnderWay_ = false;
};

} // namespace fluvane
