// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/CrashNoteWindow.h"

#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "Tessivar/Windows/TextWindow.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QStandardPaths>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace tessivar {

namespace {

constexpr int usualWidth = 560;
constexpr int reportHeight = 240;

/// Text that may be selected with the mouse and the keyboard.
QLabel* readable(const char* name) {
    auto* const label = new QLabel;
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

} // namespace

CrashNoteWindow::CrashNoteWindow(const QString& note, QWidget* parent)
    : QWidget(parent), heading_(heading({})), happened_(readable("happened")), fold_(new QToolButton),
      report_(new QPlainTextEdit), outcome_(readable("outcome")),
      copy_(new QPushButton(qPhrase("&Copy Report"))), save_(new QPushButton(qPhrase("&Save…"))) {
    setObjectName("crash-note");
    setWindowTitle(qPhrase("Crash Note"));
    build();
    closeOnEscape(*this);
    setNote(note);
    unfold(false);
}

void CrashNoteWindow::build() {
    fold_->setObjectName("fold");
    fold_->setCheckable(true);
    fold_->setAutoRaise(true);
    fold_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(fold_, &QToolButton::toggled, this, &CrashNoteWindow::unfold);
    report_->setObjectName("report");
    report_->setAccessibleName(qPhrase("Report"));
    report_->setReadOnly(true);
    report_->setTabChangesFocus(true);
    report_->setLineWrapMode(QPlainTextEdit::NoWrap);
    report_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    report_->setMinimumHeight(reportHeight / 2);

    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    copy_->setObjectName("copy");
    save_->setObjectName("save");
    buttons->addButton(copy_, QDialogButtonBox::ActionRole);
    buttons->addButton(save_, QDialogButtonBox::ActionRole);
    connect(copy_, &QPushButton::clicked, this, &CrashNoteWindow::copy);
    connect(save_, &QPushButton::clicked, this, &CrashNoteWindow::save);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    layout->setSpacing(spacing::medium);
    layout->addWidget(heading_);
    layout->addWidget(happened_);
    layout->addWidget(fold_, 0, Qt::AlignLeft);
    layout->addWidget(report_, 1);
    layout->addStretch();
    layout->addWidget(outcome_);
    layout->addWidget(buttons);
}

void CrashNoteWindow::setNote(const QString& note) {
    const auto end = note.indexOf("\n\n");
    QStringList sentences;
    for (const auto& sentence : note.left(end).split('\n', Qt::SkipEmptyParts)) {
        sentences << qKeptShown(sentence.toStdString());
    }
    happened_->setText(sentences.join(' '));
    const QString report = end < 0 ? QString() : note.mid(end + 2);
    heading_->setText(report.isEmpty() ? qPhrase("Nothing Went Wrong") : qPhrase("Something Went Wrong"));
    report_->setPlainText(report);
    outcome_->hide();
    fold_->setChecked(false);
    fold_->setVisible(!report.isEmpty());
    copy_->setVisible(!report.isEmpty());
    save_->setVisible(!report.isEmpty());
}

void CrashNoteWindow::unfold(bool open) {
    fold_->setIcon(foldIcon(open));
    fold_->setText(open ? qPhrase("Hide the &report") : qPhrase("Show the &report"));
    fold_->setAccessibleName(fold_->text().remove('&'));
    report_->setVisible(open);
    layout()->activate();
    resize(std::max(width(), usualWidth), 0);
    const int natural = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width())
                                                      : layout()->totalSizeHint().height();
    resize(width(), open ? natural + reportHeight / 2 : natural);
}

void CrashNoteWindow::copy() {
    QGuiApplication::clipboard()->setText(report_->toPlainText());
    outcome_->setText(qPhrase("The report is on the clipboard."));
    outcome_->show();
}

void CrashNoteWindow::save() {
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    const auto name = QString::fromStdString(AppIdentity::current.displayName).toLower() + "-report.txt";
    auto* const dialog = new QFileDialog(this, qPhrase("Save the Report"), folder.filePath(name));
    dialog->setObjectName("save-report");
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &CrashNoteWindow::write);
    dialog->open();
}

void CrashNoteWindow::write(const QString& file) {
    QSaveFile target(file);
    const auto text = report_->toPlainText().toUtf8();
    const bool saved =
        target.open(QIODevice::WriteOnly) && target.write(text) == text.size() && target.commit();
    const auto shown = QDir::toNativeSeparators(file);
    outcome_->setText(saved ? qPhrase("Saved as %1.", shown)
                            : qPhrase("Couldn't save %1: %2.", shown, target.errorString()));
    outcome_->show();
}

} // namespace tessivar
