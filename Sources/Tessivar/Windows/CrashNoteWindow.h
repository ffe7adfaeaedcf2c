// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QToolButton;

namespace tessivar {

/// Tells about a crash or a hang: what happened and what survived, and the report, folded away at first, to
/// be copied or saved. Not modal; whoever makes it decides when it ends.
class CrashNoteWindow : public QWidget {
    Q_OBJECT

public:
    /// The text as CrashNote gives it: sentences, an empty line, the report.
    explicit CrashNoteWindow(const QString& note, QWidget* parent = nullptr);
    void setNote(const QString& note);

private:
    void build();
    void unfold(bool open);
    void copy();
    void save();
    void write(const QString& file);

    QLabel* heading_;
    QLabel* happened_;
    QToolButton* fold_;
    QPlainTextEdit* report_;
    QLabel* outcome_; ///< Of what the buttons did.
    QPushButton* copy_;
    QPushButton* save_;
};

} // namespace tessivar
