// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/Notice.h"

#include "Fluvane/UI/Inspector/Fields.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QBoxLayout>
#include <QEvent>
#include <QLabel>
#include <QPushButton>

#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace {

constexpr int signSize = 20;

/// What needs attention, or what holds it back though a person can have it otherwise; empty where nothing
/// does.
std::string problem(const Download& download) {
    const auto& record = download.record;
    if (record.state.isWaiting(DownloadState::Wait::space)) {
        return words::state(record.state.kind(), words::oneLine(download.retry->reason));
    }
    const bool held = record.state.isWaiting(DownloadState::Wait::limitedNetwork);
    if (!needsAttention(record) && !held) {
        return {};
    }
    if (record.state.is<DownloadState::Finished>()) {
        return words::checksumMismatch(Checksum::name(record.checksum->algorithm), folderText(record.folder));
    }
    const auto* failure = record.state.failure();
    return words::state(record.state.kind(), failure ? words::oneLine(*failure) : std::string());
}

QLabel* wrapped(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

Notice::Notice(WindowContext& context, QWidget* parent)
    : QWidget(parent), context_(context), sign_(new QLabel(this)), words_(wrapped(this)),
      advice_(new tessivar::QuietLabel({}, this)), resume_(new QPushButton(this)),
      changeLink_(new QPushButton(qPhrase("Change &Link…"), this)),
      changeFolder_(new QPushButton(qPhrase("Chan&ge Folder…"), this)),
      showFolder_(new QPushButton(qPhrase("&Show Folder"), this)),
      openPage_(new QPushButton(qPhrase("&Get a Fresh Link"), this)) {
    setObjectName("details-notice");
    words_->setObjectName("problem");
    advice_->setObjectName("advice");
    resume_->setObjectName("notice-resume");
    changeLink_->setObjectName("notice-change-link");
    changeFolder_->setObjectName("notice-change-folder");
    showFolder_->setObjectName("notice-show-folder");
    openPage_->setObjectName("notice-open-page");
    openPage_->setToolTip(qPhrase("Opens the page in your browser. Download the file there again: what is "
                                  "downloaded stays."));
    auto* all = new QHBoxLayout(this);
    all->setContentsMargins(0, 0, 0, 0);
    all->setSpacing(tessivar::spacing::medium);
    all->addWidget(sign_, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(tessivar::spacing::small);
    texts->addWidget(words_);
    texts->addWidget(advice_);
    // In rows, as all beside each other are wider than the details.
    for (const auto& [first, second] :
         {std::pair(openPage_, static_cast<QPushButton*>(nullptr)), std::pair(resume_, changeLink_),
          std::pair(changeFolder_, showFolder_)}) {
        auto* buttons = new QHBoxLayout;
        buttons->setSpacing(tessivar::spacing::medium);
        buttons->addWidget(first);
        if (second) {
            buttons->addWidget(second);
        }
        buttons->addStretch();
        texts->addLayout(buttons);
    }
    all->addLayout(texts, 1);
    connect(resume_, &QPushButton::clicked, this, [this] { context_.manager.resume(id_); });
    connect(changeLink_, &QPushButton::clicked, this, [this] { context_.windows.changeLink(id_); });
    connect(changeFolder_, &QPushButton::clicked, this, [this] { context_.windows.changeFolder({id_}); });
    connect(showFolder_, &QPushButton::clicked, this, [this] {
        if (const Download* const download = context_.manager.download(id_)) {
            const auto& record = download->record;
            context_.files.show(record.partial.value_or(record.folder));
        }
    });
    connect(openPage_, &QPushButton::clicked, this, [this] {
        const Download* const download = context_.manager.download(id_);
        if (download && download->record.referrer) {
            context_.files.open(*download->record.referrer);
        }
    });
    tint();
    hide();
}

void Notice::follow(const Download& download) {
    id_ = download.id();
    const auto text = QString::fromStdString(problem(download));
    const auto advice = QString::fromStdString(words::advice(download.record));
    setWords(*words_, text);
    setWords(*advice_, advice);
    advice_->setVisible(!advice.isEmpty());
    const Abilities can = abilities(download);
    const QString resume = can.tryAgain         ? qPhrase("&Try Again")
                           : can.downloadAnyway ? qPhrase("&Download Anyway")
                                                : qPhrase("&Resume");
    if (resume_->text() != resume) {
        resume_->setText(resume);
    }
    resume_->setVisible(can.tryAgain || can.downloadAnyway);
    const bool isElsewhere = words::isCuredElsewhere(download.record);
    changeLink_->setVisible(can.changeLink && can.tryAgain && !isElsewhere);
    changeFolder_->setVisible(isElsewhere && can.move);
    showFolder_->setVisible(isElsewhere);
    openPage_->setVisible(download.record.referrer &&
                          download.record.state.isWaiting(DownloadState::Wait::linkExpired));
    setVisible(!text.isEmpty());
}

void Notice::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        tint();
    }
}

void Notice::tint() {
    const QColor color = tessivar::warning({palette().color(QPalette::Window)});
    sign_->setPixmap(tessivar::icon("warning", color).pixmap(QSize(signSize, signSize), devicePixelRatioF()));
}

} // namespace fluvane
