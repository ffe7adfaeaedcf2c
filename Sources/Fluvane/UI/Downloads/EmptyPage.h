// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

namespace fluvane {

/// What stands where a list would be: a drawing, what that means, what to do, and a button that does it.
class EmptyPage : public QWidget {
    Q_OBJECT

public:
    struct Content {
        QString icon; ///< Name of the drawing.
        QString heading;
        QString explanation;
        QString button;
        QString buttonName; ///< Of the object.
    };
    explicit EmptyPage(const Content& content);

    Q_SIGNAL void clicked();

protected:
    void changeEvent(QEvent* event) override;

private:
    void draw();

    QString icon_;
    QLabel* picture_;
};

} // namespace fluvane
