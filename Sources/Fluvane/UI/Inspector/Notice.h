// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace tessivar {
class QuietLabel;
}

namespace fluvane {

/// What went wrong with a download and what to do about it; hidden while nothing did.
class Notice : public QWidget {
    Q_OBJECT

public:
    Notice(WindowContext& context, QWidget* parent);
    void follow(const Download& download);

protected:
    void changeEvent(QEvent* event) override;

private:
    void tint();

    WindowContext& context_;
    DownloadID id_{};
    QLabel* sign_;
    QLabel* words_;
    tessivar::QuietLabel* advice_;
    QPushButton* resume_;
    QPushButton* changeLink_;
    QPushButton* changeFolder_;
    QPushButton* showFolder_;
    QPushButton* openPage_;
};

} // namespace fluvane
