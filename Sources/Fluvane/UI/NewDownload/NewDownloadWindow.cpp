// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"

#include "Fluvane/UI/Models/DroppedData.h"
#include "Fluvane/UI/NewDownload/ClipboardOffer.h"
#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "Fluvane/UI/NewDownload/LinkDelegate.h"
#include "Fluvane/UI/NewDownload/LinksEdit.h"
#include "Fluvane/UI/NewDownload/LinksModel.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Icons.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QCheckBox>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPushButton>
#include <QToolButton>

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

namespace {

QString joined(const std::vector<URL>& links) {
    QString lines;
    for (const URL& link : links) {
        lines += (lines.isEmpty() ? "" : "\n") + QString::fromStdString(link.absoluteString());
    }
    return lines;
}

} // namespace

NewDownloadWindow::NewDownloadWindow(WindowContext& context, RecentFolders& recentFolders)
    : context_(context), recentFolders_(recentFolders), draft_(context.manager, context.settings),
      model_(new LinksModel(draft_, this)) {
    setObjectName("new-download");
    setWindowTitle(qPhrase("New Download"));
    setAcceptDrops(true);
    makeWidgets();
    connectDraft();
    connectWidgets();
    addCommands();
    showRows();
    showSentences();
    resize(640, 520);
}

void NewDownloadWindow::connectDraft() {
    draft_.follow([this] { return text_->toPlainText(); });
    connect(&draft_, &NewDownloadDraft::rowsReplaced, this, &NewDownloadWindow::showRows);
    connect(&draft_, &NewDownloadDraft::marksChanged, this, &NewDownloadWindow::showCount);
    connect(&draft_, &NewDownloadDraft::changed, this, &NewDownloadWindow::showSentences);
    connect(&space_, &FolderSpace::changed, this, &NewDownloadWindow::showDestination);
    connect(&context_.feed, &ListFeed::changed, this, [this] {
        if (isVisible()) {
            draft_.noticeList();
        }
    });
    settingsChanges_ = context_.settings.subscribe([this](const Config&) {
        if (isVisible()) {
            draft_.read();
        }
    });
}

void NewDownloadWindow::connectWidgets() {
    connect(text_, &QPlainTextEdit::textChanged, &draft_, &NewDownloadDraft::edited);
    connect(text_, &LinksEdit::linksGiven, this,
            [this](const std::vector<URL>& links) { fill(links, std::nullopt); });
    connect(text_, &LinksEdit::entered, this, &NewDownloadWindow::download);
    connect(clipboard_, &ClipboardOffer::found, this, &NewDownloadWindow::clipboardFound);
    connect(clipboard_, &ClipboardOffer::accepted, this,
            [this](const std::vector<URL>& links) { fill(links, std::nullopt); });
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] {
        if (isVisible()) {
            clipboard_->look();
        }
    });
    connect(all_, &QCheckBox::clicked, this, &NewDownloadWindow::toggleAll);
    connect(folder_, &FolderChoice::folderChosen, this, [this] { draft_.setFolder(folder_->folder()); });
    connect(folder_, &FolderChoice::browseWanted, this, &NewDownloadWindow::chooseFolder);
    connect(more_, &QToolButton::clicked, this, [this] { showOptions(!checksum_->isVisible()); });
    connect(name_, &QLineEdit::textEdited, this, &NewDownloadWindow::nameTyped);
    connect(name_, &QLineEdit::editingFinished, this, &NewDownloadWindow::showName);
    connect(name_, &QLineEdit::returnPressed, this, &NewDownloadWindow::download);
    connect(checksum_, &QLineEdit::textChanged, this,
            [this](const QString& text) { draft_.setChecksum(text.toStdString()); });
    connect(referrer_, &QLineEdit::textChanged, this,
            [this](const QString& text) { draft_.setReferrer(text.toStdString()); });
    connect(checksum_, &QLineEdit::returnPressed, this, &NewDownloadWindow::download);
    connect(referrer_, &QLineEdit::returnPressed, this, &NewDownloadWindow::download);
}

void NewDownloadWindow::fill(const std::vector<URL>& links, const std::optional<URL>& referrer,
                             const SharedSession& session) {
    if (session) {
        draft_.setSession(links, session);
    }
    if (referrer && text_->document()->isEmpty() && referrer_->text().isEmpty()) {
        referrer_->setText(QString::fromStdString(referrer->absoluteString()));
        showOptions(true);
    } else if (referrer) {
        draft_.setReferrer(links, *referrer);
    }
    text_->addLinks(links);
    draft_.read();
}

void NewDownloadWindow::offerClipboard() {
    mayPrefill_ = true;
    clipboard_->look();
}

void NewDownloadWindow::clipboardFound(const std::vector<URL>& links) {
    const bool isEmpty = text_->document()->isEmpty();
    const bool mayPrefill = std::exchange(mayPrefill_, false);
    if (mayPrefill && isEmpty && !links.empty() && links != offered_ && !areListed(links)) {
        offered_ = links;
        prefilled_ = withShortLines(joined(links));
        text_->setPlainText(prefilled_);
        text_->selectAll();
        clipboard_->offer({});
        draft_.read();
    } else {
        clipboard_->offer(notTyped(links));
    }
}

bool NewDownloadWindow::areListed(const std::vector<URL>& links) const {
    std::unordered_set<std::string_view> listed;
    for (const Download* const download : context_.manager.downloads()) {
        listed.insert(download->record.url.absoluteString());
    }
    return std::ranges::all_of(links,
                               [&](const URL& link) { return listed.contains(link.absoluteString()); });
}

std::vector<URL> NewDownloadWindow::notTyped(const std::vector<URL>& links) const {
    std::unordered_set<std::string_view> typed;
    for (const auto& row : draft_.rows()) {
        typed.insert(row.link.absoluteString());
    }
    std::vector<URL> others;
    std::ranges::copy_if(links, std::back_inserter(others),
                         [&](const URL& link) { return !typed.contains(link.absoluteString()); });
    return others;
}

/// What only came from the clipboard is no work of the user's that could be lost; what was chosen for it is.
void NewDownloadWindow::dropUntouched() {
    const bool chosen = folder_->folder() || !checksum_->text().isEmpty() || !referrer_->text().isEmpty();
    if (!chosen && !prefilled_.isEmpty() && text_->toPlainText() == prefilled_) {
        text_->clear();
        draft_.clear();
    }
    prefilled_.clear();
}

void NewDownloadWindow::showEvent(QShowEvent* event) {
    showRecentFolders();
    draft_.read(); // rules, settings and the list may be others by now
    draft_.setWatched(true);
    text_->setFocus();
    QWidget::showEvent(event);
}

void NewDownloadWindow::hideEvent(QHideEvent* event) {
    if (!event->spontaneous()) {
        downloadWhenRead_ = false;
        draft_.setWatched(false);
        space_.follow(std::nullopt); // a shown one asks anew
        dropUntouched();
    }
    QWidget::hideEvent(event);
}

void NewDownloadWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (mayHoldLinks(*event->mimeData())) {
        event->acceptProposedAction();
    }
}

void NewDownloadWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    findLinks(*event->mimeData(), this, [this](const std::vector<URL>& links) { fill(links, std::nullopt); });
}

void NewDownloadWindow::showRows() {
    links_->setVisible(!draft_.rows().empty());
    QStringList notes = {QString::fromStdString(draft_.rangeNote()),
                         QString::fromStdString(draft_.leftOut())};
    notes.removeAll(QString());
    note_->setText(notes.join('\n'));
    showCount();
}

void NewDownloadWindow::showCount() {
    const auto count = draft_.rows().size();
    const auto wanted = draft_.wanted();
    all_->setCheckState(wanted == 0 ? Qt::Unchecked : wanted == count ? Qt::Checked : Qt::PartiallyChecked);
    all_->setText(wanted == count
                      ? qPhrases("%1 link", "%1 links", count)
                      : qPhrases("%1 link, %2 to download", "%1 links, %2 to download", count, wanted));
}

void NewDownloadWindow::showDestination() {
    space_.follow(isVisible() ? draft_.onlyFolder() : std::nullopt);
    QString sentence = QString::fromStdString(draft_.destination());
    if (const auto free = space_.free()) {
        sentence += " " + qPhrase("%1 are free there.", words::bytes(*free));
    }
    destination_->setText(sentence);
    destination_->setVisible(!sentence.isEmpty());
}

void NewDownloadWindow::showSentences() {
    showDestination();
    algorithm_->setText(QString::fromStdString(draft_.algorithm()));
    algorithm_->setVisible(checksum_->isVisible() && !algorithm_->text().isEmpty());
    showName();
    const QString objection = QString::fromStdString(draft_.objection());
    warning_->setVisible(!objection.isEmpty());
    objection_->setText(objection);
    showButtons();
    if (downloadWhenRead_ && !draft_.isReading()) {
        download();
    }
}

/// What is typed stays as it is while it is typed; how it will be saved is said beside it.
void NewDownloadWindow::showName() {
    const auto row = draft_.single();
    for (QWidget* const part : nameParts_) {
        part->setVisible(row.has_value());
    }
    if (!row) {
        return;
    }
    const QString name = QString::fromStdString(words::oneLine(draft_.rows()[*row].name));
    const bool isTyping = name_->hasFocus() && name_->isModified();
    if (!isTyping && name_->text() != name) {
        name_->setText(name);
        name_->setCursorPosition(0);
    }
    QStringList about = {QString::fromStdString(draft_.about())};
    if (isTyping && name_->text() != name) {
        about.prepend(qPhrase("Saved as “%1”.", name));
    }
    about.removeAll(QString());
    about_->setText(about.join(' '));
    about_->setToolTip(about_->text().toHtmlEscaped());
}

void NewDownloadWindow::nameTyped(const QString& typed) {
    if (const auto row = draft_.single()) {
        draft_.setName(*row, typed.toStdString());
    }
}

void NewDownloadWindow::rename() {
    if (draft_.single()) {
        name_->setFocus();
        selectStem(*name_);
    } else if (!draft_.rows().empty()) {
        const auto current = list_->currentIndex();
        list_->setFocus();
        list_->setCurrentIndex(current.isValid() ? current : model_->index(0));
        list_->edit(list_->currentIndex());
    }
}

/// While a text is read the button stays as it was: it would flicker with every letter.
void NewDownloadWindow::showButtons() {
    downloadAction_->setEnabled(draft_.isReady() || draft_.isReading());
    if (!draft_.isReading()) {
        const auto wanted = draft_.wanted();
        download_->setText(wanted > 1 ? qPhrases("&Download %1 File", "&Download %1 Files", wanted)
                                      : qPhrase("&Download"));
        download_->setEnabled(draft_.isReady());
    }
}

void NewDownloadWindow::showOptions(bool shown) {
    more_->setIcon(tessivar::foldIcon(shown));
    for (QWidget* const option : options_) {
        option->setVisible(shown && (option != algorithm_ || !algorithm_->text().isEmpty()));
    }
}

void NewDownloadWindow::showRecentFolders() {
    const auto& rules = context_.settings.config().rules;
    folder_->setRules(std::ranges::any_of(rules, [](const Rule& rule) { return rule.folder.has_value(); }));
    folder_->setRecent(recentFolders_.folders());
    recentFolders_.findPresent(this,
                               [this](const std::vector<URL>& folders) { folder_->setRecent(folders); });
}

void NewDownloadWindow::toggleAll() {
    draft_.setAllWanted(draft_.wanted() < draft_.rows().size());
}

void NewDownloadWindow::chooseFolder() {
    folder_->browse(context_.manager.folder(context_.settings.config().folder));
}

/// A text that was pasted a moment ago is read first: what was asked for is all of it.
void NewDownloadWindow::download() {
    downloadWhenRead_ = draft_.isReading();
    if (downloadWhenRead_) {
        draft_.read();
        return;
    }
    const auto folder = draft_.folder();
    const auto ids = draft_.add();
    if (!ids.empty()) {
        added(ids, folder);
    }
}

void NewDownloadWindow::added(const std::vector<DownloadID>& ids, const std::optional<URL>& folder) {
    if (folder) {
        recentFolders_.add(*folder);
    }
    prefilled_.clear();
    offered_.clear();
    text_->clear();
    checksum_->clear();
    referrer_->clear();
    folder_->setFolder(std::nullopt);
    showOptions(false);
    draft_.clear();
    close();
    context_.windows.showAdded(ids);
}

} // namespace fluvane
