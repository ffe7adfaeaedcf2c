// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFrame>

#include <functional>

class QLabel;
class QPushButton;

namespace fluvane {

/// One line of a window in which it says how something went, until the next thing or until it is dismissed.
class MessageLine : public QFrame {
    Q_OBJECT

public:
    explicit MessageLine(QWidget* parent = nullptr);

    void say(const QString& sentence);
    void warn(const QString& sentence);
    /// Ends a warning whose reason is gone. Answers whether there was one.
    bool withdrawWarning();
    /// With a button that does something about it, once.
    struct Action {
        QString button; ///< What it says.
        std::function<void()> run;
    };
    void offer(const QString& sentence, Action action);

protected:
    void changeEvent(QEvent* event) override;

private:
    void drawIcon();
    void tell(const char* icon, const QString& sentence);

    bool warns_ = false;
    QString iconName_;
    QLabel* icon_;
    QLabel* text_;
    QPushButton* button_;
    std::function<void()> action_;
};

} // namespace fluvane
