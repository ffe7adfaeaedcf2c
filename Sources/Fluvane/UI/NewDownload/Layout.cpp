// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The controls of the window for new downloads and their places.

#include "Fluvane/UI/NewDownload/ClipboardOffer.h"
#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "Fluvane/UI/NewDownload/LinkDelegate.h"
#include "Fluvane/UI/NewDownload/LinksEdit.h"
#include "Fluvane/UI/NewDownload/LinksModel.h"
#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QCheckBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

template <class Control>
Control* named(Control* control, const char* name, const QString& accessibleName) {
    control->setObjectName(name);
    control->setAccessibleName(accessibleName);
    return control;
}

QLabel* labelFor(QWidget* control, const QString& text) {
    auto* const label = new QLabel(text);
    label->setBuddy(control);
    return label;
}

/// Side by side, the first as wide as there is room.
QHBoxLayout* rowOf(std::initializer_list<QWidget*> widgets) {
    auto* const row = new QHBoxLayout;
    row->setSpacing(spacing::medium);
    for (QWidget* const widget : widgets) {
        row->addWidget(widget, row->count() == 0 ? 1 : 0);
    }
    return row;
}

} // namespace

void NewDownloadWindow::makeWidgets() {
    text_ = named(new LinksEdit, "links", qPhrase("Links"));
    text_->setPlaceholderText(qPhrase("Paste, drop or type links here. Any text with links in it will do.\n"
                                      "Enter downloads them, Shift+Enter begins a new line."));
    text_->setMinimumHeight(text_->fontMetrics().lineSpacing() * 3);
    clipboard_ = new ClipboardOffer;
    note_ = new tessivar::QuietLabel;
    note_->setObjectName("range-note");

    auto* const page = new QVBoxLayout(this);
    page->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    page->setSpacing(spacing::medium);
    page->addWidget(text_, 2);
    page->addWidget(clipboard_);
    page->addWidget(note_);
    page->addWidget(makeList(), 3);
    page->addWidget(makeOptions());
    page->addWidget(makeButtons());
}

QWidget* NewDownloadWindow::makeList() {
    links_ = new QWidget;
    all_ = named(new QCheckBox, "all-links", qPhrase("Download all links"));
    all_->setTristate(true);
    list_ = named(new QListView, "found-links", qPhrase("Links found"));
    list_->setModel(model_);
    list_->setItemDelegate(new LinkDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setEditTriggers(QAbstractItemView::DoubleClicked);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setMinimumHeight(list_->fontMetrics().height() * 3);
    auto* const column = new QVBoxLayout(links_);
    column->setContentsMargins({});
    column->setSpacing(spacing::small);
    column->addWidget(all_);
    column->addWidget(list_);
    return links_;
}

QWidget* NewDownloadWindow::makeOptions() {
    name_ = named(new QLineEdit, "name", qPhrase("Name"));
    about_ = new tessivar::QuietLabel;
    about_->setObjectName("about");
    about_->setTextFormat(Qt::PlainText);
    about_->setMinimumSize(1, about_->fontMetrics().height());
    nameParts_ = {labelFor(name_, qPhrase("&Name")), name_, about_};
    folder_ = named(new FolderChoice, "folder", qPhrase("Folder"));
    destination_ = new tessivar::QuietLabel;
    destination_->setObjectName("destination");
    destination_->setMinimumSize(1,
                                 destination_->fontMetrics().height()); // a wrapped label asks for two lines
    more_ = named(new QToolButton, "more", qPhrase("Checksum and referrer"));
    more_->setText(qPhrase("Checksum and &referrer"));
    more_->setAutoRaise(true);
    more_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    checksum_ = named(new QLineEdit, "checksum", qPhrase("Checksum"));
    checksum_->setPlaceholderText(qPhrase("SHA-256, SHA-1 or MD5, as its publisher printed it"));
    algorithm_ = new QLabel;
    algorithm_->setObjectName("algorithm");
    referrer_ = named(new QLineEdit, "referrer", qPhrase("Referrer"));
    referrer_->setPlaceholderText(qPhrase("The web page that the links are on, if the server asks for it"));

    options_ = {labelFor(checksum_, qPhrase("&Checksum")), checksum_, algorithm_,
                labelFor(referrer_, qPhrase("Re&ferrer")), referrer_};
    auto* const box = new QWidget;
    auto* const grid = new QGridLayout(box);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(spacing::medium);
    grid->setVerticalSpacing(spacing::small);
    grid->addWidget(nameParts_[0], 0, 0);
    grid->addWidget(name_, 0, 1);
    grid->addWidget(about_, 1, 1);
    grid->addWidget(labelFor(folder_, qPhrase("F&older")), 2, 0);
    grid->addLayout(rowOf({folder_, more_}), 2, 1);
    grid->addWidget(destination_, 3, 1);
    grid->addWidget(options_[0], 4, 0);
    grid->addLayout(rowOf({checksum_, algorithm_}), 4, 1);
    grid->addWidget(options_[3], 5, 0);
    grid->addWidget(referrer_, 5, 1);
    grid->setColumnStretch(1, 1);
    showOptions(false);
    return box;
}

QWidget* NewDownloadWindow::makeButtons() {
    warning_ = new QLabel;
    warning_->setObjectName("warning");
    drawIcons();
    objection_ = new QLabel;
    objection_->setObjectName("objection");
    objection_->setTextFormat(Qt::PlainText);
    objection_->setWordWrap(true);
    auto* const close = named(new QPushButton(qPhrase("Close")), "close", qPhrase("Close"));
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    download_ = named(new QPushButton(qPhrase("&Download")), "download", "");
    download_->setIcon(tessivar::icon("download"));
    download_->setDefault(true);
    download_->setToolTip(qPhrase("Download (Enter)"));
    connect(download_, &QPushButton::clicked, this, &NewDownloadWindow::download);

    auto* const box = new QWidget;
    auto* const row = new QHBoxLayout(box);
    row->setContentsMargins(0, spacing::medium, 0, 0);
    row->setSpacing(spacing::medium);
    row->addWidget(warning_, 0, Qt::AlignVCenter);
    row->addWidget(objection_, 1);
    row->addWidget(close);
    row->addWidget(download_);
    return box;
}

void NewDownloadWindow::drawIcons() {
    warning_->setPixmap(tessivar::icon("warning").pixmap(16));
}

void NewDownloadWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange && warning_) {
        drawIcons();
    }
    QWidget::changeEvent(event);
}

QAction* NewDownloadWindow::addCommand(const QString& text, const QList<QKeySequence>& keys,
                                       void (NewDownloadWindow::*command)()) {
    auto* const action = new QAction(text, this);
    action->setShortcuts(keys);
    connect(action, &QAction::triggered, this, command);
    addAction(action);
    return action;
}

void NewDownloadWindow::addCommands() {
    downloadAction_ = addCommand(qPhrase("Download"), {Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter},
                                 &NewDownloadWindow::download);
    addCommand(qPhrase("Choose Folder…"), {QKeySequence::Open}, &NewDownloadWindow::chooseFolder);
    addCommand(qPhrase("Rename"), {Qt::Key_F2}, &NewDownloadWindow::rename);
    auto* const close = new QAction(qPhrase("Close"), this);
    close->setShortcuts({Qt::Key_Escape, QKeySequence(QKeySequence::Close)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
}

} // namespace fluvane
