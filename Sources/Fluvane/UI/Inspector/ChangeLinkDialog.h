// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Inspector/DownloadDialog.h"
#include "FluvaneCore/URL.h"

#include <vector>

class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// Asks for a fresh link to a download's file; offers the clipboard's. For one window of its own: call
/// `show`, and it deletes itself once closed, also when the download is removed or finishes meanwhile.
class ChangeLinkDialog : public DownloadDialog {
    Q_OBJECT

public:
    ChangeLinkDialog(WindowContext& context, DownloadID id);

    void accept() override;

private:
    bool stillApplies(const Download& download) const override;
    void refresh(const Download& download) override;
    void typed();
    void offerClipboard();
    void offer(const std::vector<URL>& links);

    QLineEdit* field_;
    QLabel* note_;
    QPushButton* change_;
    std::vector<URL> links_; ///< In what is typed.
    QString offered_;
};

} // namespace fluvane
