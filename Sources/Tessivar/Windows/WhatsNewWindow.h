// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

class QTextBrowser;

namespace tessivar {

/// What is new in this version. Not modal; whoever makes it decides when it ends.
class WhatsNewWindow : public QWidget {
    Q_OBJECT

public:
    /// The text as WhatsNew gives it: releases with a line for each thing that is new.
    explicit WhatsNewWindow(const QString& text, QWidget* parent = nullptr);
    void setText(const QString& text);

protected:
    void changeEvent(QEvent* event) override;

private:
    void render();

    QString text_;
    QTextBrowser* view_;
};

} // namespace tessivar
