// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/TextViewer.h"

#include "Fluvane/UI/Settings/Form.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>

#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr QSize usualSize(760, 520);
constexpr int shownAtOnce = 64 * 1024; ///< Characters in a turn of the main queue.

QPushButton* button(const char* name, const QString& text, const char* icon, QWidget* parent) {
    auto* const made = new QPushButton(tessivar::icon(icon), text, parent);
    made->setObjectName(name);
    return made;
}

} // namespace

TextViewer::TextViewer(Looks looks, Gather gather, QWidget* parent)
    : QWidget(parent, Qt::Window), looks_(std::move(looks)), gather_(std::move(gather)),
      text_(new QPlainTextEdit(this)), outcome_(new tessivar::QuietLabel({}, this)),
      refresh_(button("refresh", qPhrase("&Refresh"), "retry", this)),
      copy_(button("copy", qPhrase("&Copy"), "copy", this)),
      save_(button("save", qPhrase("&Save…"), "download", this)) {
    setObjectName(looks_.name);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(looks_.title);
    resize(usualSize);
    more_.setSingleShot(true);
    connect(&more_, &QTimer::timeout, this, &TextViewer::showMore);
    build();
    addKeys();
    refresh();
}

void TextViewer::build() {
    text_->setObjectName("text");
    text_->setAccessibleName(looks_.title);
    text_->setReadOnly(true);
    text_->setUndoRedoEnabled(false);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setTabChangesFocus(true);
    text_->setLineWrapMode(QPlainTextEdit::NoWrap); // else every line of a long text is measured at once
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto* const buttons = new QHBoxLayout;
    buttons->setSpacing(spacing::medium);
    buttons->addWidget(refresh_);
    buttons->addWidget(outcome_, 1);
    buttons->addWidget(copy_);
    buttons->addWidget(save_);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    layout->setSpacing(spacing::medium);
    layout->addWidget(new tessivar::QuietLabel(looks_.explanation, this));
    layout->addWidget(text_, 1);
    layout->addLayout(buttons);
    connect(refresh_, &QPushButton::clicked, this, &TextViewer::refresh);
    connect(copy_, &QPushButton::clicked, this, &TextViewer::copy);
    connect(save_, &QPushButton::clicked, this, &TextViewer::askWhereToSave);
}

void TextViewer::addKeys() {
    auto* const close = new QAction(qPhrase("Close"), this);
    close->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::Key_Escape)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
    auto* const again = new QAction(qPhrase("Refresh"), this);
    again->setShortcuts(QKeySequence::Refresh);
    connect(again, &QAction::triggered, this, &TextViewer::refresh);
    addAction(again);
}

void TextViewer::refresh() {
    refresh_->setEnabled(false);
    copy_->setEnabled(false);
    save_->setEnabled(false);
    outcome_->setText(qPhrase("Gathering…"));
    gather_([viewer = QPointer(this), number = ++asked_](const std::string& text) {
        if (viewer && number == viewer->asked_) {
            viewer->take(QString::fromStdString(text));
        }
    });
}

void TextViewer::take(const QString& text) {
    const QScrollBar& bar = *text_->verticalScrollBar();
    followsEnd_ = !full_.isEmpty() && bar.value() == bar.maximum();
    full_ = text;
    shown_ = 0;
    text_->clear();
    showMore();
    refresh_->setEnabled(true);
    copy_->setEnabled(!text.isEmpty());
    save_->setEnabled(!text.isEmpty());
    outcome_->setText(text.isEmpty() ? looks_.empty : QString());
}

/// A long text is laid out bit by bit, so that nothing else waits for it. Who has read to the end goes on
/// there.
void TextViewer::showMore() {
    QTextCursor end(text_->document());
    end.movePosition(QTextCursor::End);
    end.insertText(full_.mid(shown_, shownAtOnce));
    shown_ += shownAtOnce;
    if (shown_ < full_.size()) {
        more_.start();
    } else if (followsEnd_) {
        text_->moveCursor(QTextCursor::End);
    }
}

void TextViewer::copy() {
    QApplication::clipboard()->setText(full_);
    outcome_->setText(qPhrase("Copied."));
}

void TextViewer::askWhereToSave() {
    auto* const dialog = new QFileDialog(this, qPhrase("Save"), QDir::homePath());
    dialog->setObjectName("saveDialog");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix("txt");
    dialog->selectFile(looks_.fileName);
    connect(dialog, &QFileDialog::fileSelected, this, &TextViewer::save);
    dialog->open();
}

void TextViewer::save(const QString& path) {
    try {
        const auto bytes = full_.toStdString();
        tessivar::AtomicFile(QFile::encodeName(path).toStdString()).write(bytes, 0644);
        outcome_->setText(qPhrase("Saved to %1.", path));
    } catch (const tessivar::SystemError& error) {
        outcome_->setText(qPhrase("Couldn't save to %1: %2.", path, tessivar::qKeptShown(error.what())));
    }
}

} // namespace fluvane
