// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Inspector/DownloadDialog.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// Takes, changes or takes away the checksum that a download's file is checked against, and shows how the
/// check of a finished file ends. For one window of its own: call `show`, and it deletes itself once closed,
/// also when the download is removed meanwhile.
class ChecksumDialog : public DownloadDialog {
    Q_OBJECT

public:
    ChecksumDialog(WindowContext& context, DownloadID id);

    void accept() override;

private:
    bool stillApplies(const Download& download) const override;
    void refresh(const Download& download) override;
    void typed();
    void takeAway();
    [[nodiscard]] QString note() const;

    QLineEdit* field_;
    QLabel* note_;
    QPushButton* check_;
    QPushButton* takeAway_;
    QPushButton* close_;
};

} // namespace fluvane
