// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QTimer>
#include <QWidget>

#include <functional>
#include <string>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace fluvane {

/// A window with a long text that is gathered when it opens, to be read, copied or saved. It deletes itself
/// when it is closed.
class TextViewer : public QWidget {
    Q_OBJECT

public:
    using Gather = std::function<void(std::function<void(std::string)>)>;
    struct Looks {
        const char* name; ///< Of the window, as an object.
        QString title;
        QString explanation;
        QString empty;    ///< What is said when there is no text.
        QString fileName; ///< That it is saved under.
    };

    /// The text is gathered on the main queue, as often as it is asked for; one that comes when the window is
    /// gone is dropped.
    TextViewer(Looks looks, Gather gather, QWidget* parent);

private:
    void build();
    void addKeys();
    void refresh();
    void take(const QString& text);
    void showMore();
    void copy();
    void askWhereToSave();
    void save(const QString& path);

    Looks looks_;
    Gather gather_;
    QPlainTextEdit* text_;
    QLabel* outcome_;
    QPushButton* refresh_;
    QPushButton* copy_;
    QPushButton* save_;
    QString full_;
    qsizetype shown_ = 0; ///< Characters of it.
    QTimer more_;
    bool followsEnd_ = false;
    int asked_ = 0; ///< Counts requests: only the last one's text counts.
};

} // namespace fluvane
