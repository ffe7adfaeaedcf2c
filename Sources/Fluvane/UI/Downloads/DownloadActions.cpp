// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/DownloadActions.h"

#include "Fluvane/UI/Models/GoneFiles.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/TextWindow.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

#include <algorithm>
#include <memory>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhraseIn;
using tessivar::qPhrases;

namespace {

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QString nameOf(const Download& download) {
    constexpr qsizetype longest = 60;
    const QString name = text(words::oneLine(download.record.displayName()));
    return name.size() <= longest ? name : name.left(longest / 2) + "…" + name.right(longest / 2);
}

bool any(const Download& /*download*/) {
    return true;
}

} // namespace

QAction* DownloadActions::make(const char* name, const QString& text, const char* icon,
                               void (DownloadActions::*run)()) {
    auto* const action = new QAction(tessivar::icon(icon), text, &window_);
    action->setObjectName(name);
    action->setShortcutContext(Qt::WidgetShortcut);
    connect(action, &QAction::triggered, this, [this, run] { (this->*run)(); });
    window_.addAction(action);
    order_.push_back(action);
    return action;
}

DownloadActions::DownloadActions(WindowContext& context, QWidget& window)
    : QObject(&window), context_(context), window_(window),
      gone_(GoneFiles::of(context.feed, context.files)) {
    const auto separate = [this] { order_.push_back(nullptr); };
    resume_ = make("resume", qPhrase("&Resume"), "play", &DownloadActions::resume);
    resume_->setIconText(qPhrase("Resume")); // a button's word, as another would change its width
    pause_ = make("pause", qPhrase("&Pause"), "pause", &DownloadActions::pause);
    next_ = make("next", qPhrase("&Next in Line"), "next", &DownloadActions::next);
    prioritize_ = make("prioritize", qPhrase("Priori&tize"), "prioritize", &DownloadActions::prioritize);
    stopPrioritizing_ = make("stop-prioritizing", qPhrase("Stop Priori&tizing"), "prioritize",
                             &DownloadActions::stopPrioritizing);
    separate();
    open_ = make("open", qPhrase("&Open"), "open", &DownloadActions::open);
    show_ = make("show", qPhrase("Show in &Folder"), "folder", &DownloadActions::show);
    separate();
    rename_ = make("rename", qPhrase("Ren&ame…"), "edit", &DownloadActions::rename);
    changeFolder_ =
        make("change-folder", qPhrase("Chan&ge Folder…"), "folder", &DownloadActions::changeFolder);
    stopMoving_ = make("stop-moving", qPhrase("&Stop Moving"), "close", &DownloadActions::stopMoving);
    changeLink_ = make("change-link", qPhrase("Change &Link…"), "link", &DownloadActions::changeLink);
    checksum_ = make("checksum", qPhrase("C&hecksum…"), "checksum", &DownloadActions::editChecksum);
    copy_ = make("copy-link", qPhrase("&Copy Link"), "copy", &DownloadActions::copyLinks);
    copy_->setIconText(qPhrase("Copy Link"));
    separate();
    remove_ = make("remove", qPhrase("Re&move"), "remove", &DownloadActions::remove);
    removeFile_ =
        make("remove-file", qPhrase("Remove and &Delete File"), "trash", &DownloadActions::removeWithFiles);
    open_->setShortcuts({Qt::Key_Return, Qt::Key_Enter});
    copy_->setShortcut(QKeySequence::Copy);
    rename_->setShortcut(Qt::Key_F2);
    show_->setShortcuts({Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter});
    changeFolder_->setShortcut(Qt::Key_F6);
    changeLink_->setShortcut(Qt::CTRL | Qt::Key_U);
    checksum_->setShortcut(Qt::CTRL | Qt::Key_K);
    removeFile_->setShortcut(Qt::SHIFT | Qt::Key_Delete);
    update({});
}

// What applies

std::vector<const Download*> DownloadActions::those(const Check& check) const {
    std::vector<const Download*> found;
    for (const auto id : selected_) {
        const Download* const download = context_.manager.download(id);
        if (download && check(*download)) {
            found.push_back(download);
        }
    }
    return found;
}

DownloadActions::IDs DownloadActions::numbers(const Check& check) const {
    IDs ids;
    for (const Download* download : those(check)) {
        ids.push_back(download->id());
    }
    return ids;
}

/// With a file that isn't there anymore nothing can be done. Of very many it isn't looked at.
Abilities DownloadActions::offered(const Download& download) const {
    Abilities can = abilities(download);
    constexpr std::size_t many = 100;
    if (selected_.size() <= many && gone_.isGone(download)) {
        can.open = can.show = can.removeFile = can.move = false;
    }
    return can;
}

DownloadActions::Check DownloadActions::having(bool Abilities::*ability) const {
    return [this, ability](const Download& download) { return offered(download).*ability; };
}

void DownloadActions::update(const IDs& selected) {
    selected_ = selected;
    Abilities some;
    const std::string_view plainResume = Abilities{}.resumeLabel();
    std::string_view label;
    std::size_t found = 0;
    for (const auto id : selected_) {
        const Download* const download = context_.manager.download(id);
        if (!download) {
            continue;
        }
        ++found;
        const Abilities can = offered(*download);
        some.pause |= can.pause;
        if (can.resume) {
            some.resume = true;
            label = label.empty() || label == can.resumeLabel() ? can.resumeLabel() : plainResume;
        }
        some.next |= can.next;
        some.prioritize |= can.prioritize;
        some.stopPrioritizing |= can.stopPrioritizing;
        some.changeLink |= can.changeLink;
        some.move |= can.move;
        some.stopMoving |= can.stopMoving;
        some.open |= can.open;
        some.show |= can.show;
        some.removeFile |= can.removeFile;
    }
    pause_->setVisible(some.pause);
    resume_->setVisible(some.resume);
    // Of several downloads some may run and some not: the key carries on first.
    resume_->setShortcut(some.resume ? Qt::Key_Space : QKeySequence());
    pause_->setShortcut(some.resume ? QKeySequence() : Qt::Key_Space);
    next_->setVisible(some.next);
    prioritize_->setVisible(some.prioritize && found == 1); // there can only be one
    stopPrioritizing_->setVisible(some.stopPrioritizing);
    changeLink_->setVisible(some.changeLink && found == 1);
    checksum_->setVisible(found == 1);
    rename_->setVisible(some.move && found == 1);
    changeFolder_->setVisible(some.move);
    stopMoving_->setVisible(some.stopMoving);
    copy_->setVisible(found > 0);
    copy_->setText(found > 1 ? qPhrase("&Copy Links") : qPhrase("&Copy Link"));
    open_->setVisible(some.open);
    show_->setVisible(some.show);
    remove_->setVisible(found > 0);
    remove_->setShortcuts(some.removeFile ? QList<QKeySequence>{QKeySequence::Delete}
                                          : QList<QKeySequence>{QKeySequence::Delete,
                                                                QKeySequence(Qt::SHIFT | Qt::Key_Delete)});
    removeFile_->setVisible(some.removeFile);
    removeFile_->setText(found > 1 ? qPhrase("Remove and &Delete Files")
                                   : qPhrase("Remove and &Delete File"));
    nameResume(label);
}

/// Its label says what it does when it does the same with all of them.
void DownloadActions::nameResume(std::string_view label) {
    const bool again = label == Abilities{.tryAgain = true}.resumeLabel();
    const bool anyway = label == Abilities{.downloadAnyway = true}.resumeLabel();
    const QString words = again    ? qPhrase("T&ry Again")
                          : anyway ? qPhrase("Download An&yway")
                                   : qPhrase("&Resume");
    if (resume_->text() != words) {
        resume_->setText(words);
    }
}

// Commands

void DownloadActions::pause() {
    // Those that wait first: pausing one that runs would let one of them begin only to be paused in turn.
    IDs ids = numbers(having(&Abilities::pause));
    std::stable_partition(ids.begin(), ids.end(), [this](auto id) {
        return !context_.manager.download(id)->record.state.isActive();
    });
    for (const auto id : ids) {
        context_.manager.pause(id);
    }
}

void DownloadActions::resume() {
    for (const auto id : numbers(having(&Abilities::resume))) {
        context_.manager.resume(id);
    }
}

void DownloadActions::next() {
    IDs ids = numbers(having(&Abilities::next));
    std::ranges::reverse(ids); // so that they keep their order at the front
    for (const auto id : ids) {
        context_.manager.downloadNext(id);
    }
}

void DownloadActions::prioritize() {
    for (const auto id : numbers(having(&Abilities::prioritize))) {
        context_.manager.prioritize(id, true);
    }
}

void DownloadActions::stopPrioritizing() {
    for (const auto id : numbers(having(&Abilities::stopPrioritizing))) {
        context_.manager.prioritize(id, false);
    }
}

void DownloadActions::changeLink() {
    for (const auto id : numbers(having(&Abilities::changeLink))) {
        context_.windows.changeLink(id);
    }
}

void DownloadActions::editChecksum() {
    for (const auto id : numbers(any)) {
        context_.windows.editChecksum(id);
    }
}

void DownloadActions::stopMoving() {
    for (const auto id : numbers(having(&Abilities::stopMoving))) {
        context_.manager.stopMoving(id);
    }
}

void DownloadActions::rename() {
    for (const auto id : numbers(having(&Abilities::move))) {
        context_.windows.rename(id);
    }
}

void DownloadActions::changeFolder() {
    context_.windows.changeFolder(numbers(having(&Abilities::move)));
}

void DownloadActions::copyLinks() {
    QStringList links;
    for (const Download* download : those(any)) {
        links.append(text(download->record.url.absoluteString()));
    }
    QGuiApplication::clipboard()->setText(links.join('\n'));
    Q_EMIT done(links.size() == 1 ? qPhrase("Copied the link.")
                                  : qPhrases("Copied %1 link.", "Copied %1 links.", links.size()));
}

void DownloadActions::open() {
    std::vector<URL> files;
    for (const Download* download : those(having(&Abilities::open))) {
        files.push_back(*download->record.file);
    }
    const auto openAll = [this, files] {
        for (const auto& file : files) {
            context_.files.open(file);
        }
    };
    constexpr std::size_t surelyMeant = 8;
    if (files.size() <= surelyMeant) {
        return openAll();
    }
    ask({.text = qPhrases("Open %1 file?", "Open %1 files?", files.size()),
         .explanation = qPhrase("Each opens in the program you have for it."),
         .yes = qPhrase("Open")},
        openAll);
}

void DownloadActions::show() {
    // One window of the file manager is enough.
    const auto found = those(having(&Abilities::show));
    if (!found.empty()) {
        const DownloadRecord& record = found[0]->record;
        context_.files.show(record.file ? *record.file : *record.partial);
    }
}

// Removing

void DownloadActions::ask(const Question& question, std::function<void()> agreed) {
    auto* const box =
        new QMessageBox(QMessageBox::Question, "Fluvane", question.text, QMessageBox::Cancel, &window_);
    box->setObjectName("question");
    tessivar::setPlainTexts(*box, question.explanation);
    box->setAttribute(Qt::WA_DeleteOnClose);
    QPushButton* const yes = box->addButton(question.yes, QMessageBox::AcceptRole);
    box->setDefaultButton(yes);
    connect(yes, &QPushButton::clicked, this, [agreed = std::move(agreed)] { agreed(); });
    box->open();
}

void DownloadActions::remove() {
    remove(numbers(any));
}

void DownloadActions::remove(const IDs& ids) {
    context_.manager.removeForNow(ids);
    const auto isThere = [this](DownloadID id) { return context_.manager.download(id) != nullptr; };
    if (std::ranges::any_of(ids, isThere)) {
        Q_EMIT done(qPhrase("What is just being finished stays. It can be removed in a moment."));
    }
    Q_EMIT removed();
}

std::vector<QAction*> DownloadActions::tools() const {
    return {resume_, pause_,      next_,     prioritize_, nullptr, open_,  show_,
            nullptr, changeLink_, checksum_, copy_,       nullptr, remove_};
}

QAction* DownloadActions::insteadOf(const QAction* action) const {
    return action == prioritize_ ? stopPrioritizing_ : nullptr;
}

void DownloadActions::removeWithFiles() {
    const IDs ids = numbers(any);
    const auto files = numbers(having(&Abilities::removeFile));
    if (files.empty()) {
        return remove();
    }
    const auto unfinished = those(having(&Abilities::losesBytes)).size();
    QString explanation = files.size() == 1 ? qPhrase("Its file goes to the wastebasket.")
                                            : qPhrases("%1 file goes to the wastebasket.",
                                                       "%1 files go to the wastebasket.", files.size());
    if (ids.size() > 1 && files.size() == 1) {
        explanation = qPhrase("One file goes to the wastebasket.");
    }
    if (unfinished > 0) {
        explanation +=
            " " + (unfinished == 1
                       ? qPhrase("What one unfinished download got so far is deleted.")
                       : qPhrases("What %1 unfinished download got so far is deleted.",
                                  "What %1 unfinished downloads got so far is deleted.", unfinished));
    }
    const auto removed = those(any);
    const QString one = removed.size() == 1 ? nameOf(*removed[0]) : QString();
    ask({.text = !one.isEmpty()      ? qPhrase("Remove \"%1\" and delete the file?", one)
                 : files.size() == 1 ? qPhrases("Remove %1 download and delete the file?",
                                                "Remove %1 downloads and delete the file?", removed.size())
                                     : qPhrases("Remove %1 download and delete the files?",
                                                "Remove %1 downloads and delete the files?", removed.size()),
         .explanation = explanation,
         .yes = qPhrase("Remove and Delete")},
        [this, ids] { discard(ids); });
}

struct DownloadActions::Discarding {
    std::size_t left = 0;
    QStringList problems{};

    [[nodiscard]] QString title() const {
        const auto count = problems.size();
        return count == 1
                   ? qPhrase("The file couldn't be moved to the wastebasket, so it stays on the list.")
                   : qPhrases("%1 file couldn't be moved to the wastebasket, so it stays on the list.",
                              "%1 files couldn't be moved to the wastebasket, so they stay on the list.",
                              count);
    }
    [[nodiscard]] QString list() const {
        constexpr qsizetype shown = 5;
        const auto count = problems.size();
        const QString first = problems.mid(0, shown).join('\n');
        return count > shown ? first + "\n" + qPhrases("and %1 more", "and %1 more", count - shown) : first;
    }
};

/// The window may be gone when a slow wastebasket answers.
void DownloadActions::discard(const IDs& ids) {
    const auto work = std::make_shared<Discarding>();
    std::vector<std::pair<DownloadID, URL>> files;
    for (const auto id : ids) {
        const Download* const download = context_.manager.download(id);
        if (download && offered(*download).removeFile) {
            files.emplace_back(id, *download->record.file);
        } else {
            context_.manager.remove(id);
        }
    }
    Q_EMIT removed();
    work->left = files.size();
    for (const auto& [id, file] : files) {
        const auto done = [self = QPointer(this), &context = context_, work, number = id](const auto& error) {
            discarded(context, *work, number, error);
            if (self && !error) {
                Q_EMIT self->removed();
            }
            if (--work->left == 0 && !work->problems.isEmpty()) {
                self ? self->tell(*work)
                     : context.windows.tellProblem((work->title() + "\n" + work->list()).toStdString());
            }
        };
        context_.files.moveToWastebasket(file, done);
    }
}

/// Only what could be moved is taken off the list.
void DownloadActions::discarded(WindowContext& context, Discarding& work, DownloadID id,
                                const std::optional<std::string>& error) {
    const Download* const download = context.manager.download(id);
    if (!error) {
        context.manager.remove(id);
    } else if (download) {
        work.problems.append(qPhraseIn("name and value", "%1: %2", nameOf(*download),
                                       words::sentence(words::oneLine(*error))));
    }
}

void DownloadActions::tell(const Discarding& work) {
    auto* const box =
        new QMessageBox(QMessageBox::Warning, "Fluvane", work.title(), QMessageBox::Close, &window_);
    box->setObjectName("problem");
    tessivar::setPlainTexts(*box, work.list());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace fluvane
