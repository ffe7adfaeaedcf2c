// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/OfferWindow.h"

#include "Fluvane/UI/Models/DownloadsModel.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "Fluvane/UI/NewDownload/FolderChoice.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhraseIn;
using tessivar::qPhrases;

namespace spacing = tessivar::spacing;

namespace {

constexpr int guardTime = 500; ///< Milliseconds.
constexpr int leastWidth = 420;

QString shown(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

QString sizeOf(const PendingOffer& offer) {
    return offer.size ? shown(words::bytes(*offer.size)) : qPhrase("Size not known");
}

QString shortName(const PendingOffer& offer) {
    constexpr qsizetype longest = 48;
    const QString name = shown(words::oneLine(offer.name));
    return name.size() <= longest ? name : name.left(longest / 2) + "…" + name.right(longest / 2);
}

QString aboutOf(const PendingOffer& offer) {
    return qPhraseIn("size and site", "%1 from %2", sizeOf(offer), words::oneLine(offer.site));
}

QLabel* labelFor(QWidget* control, const QString& words) {
    auto* const label = new QLabel(words);
    label->setBuddy(control);
    return label;
}

} // namespace

OfferWindow::OfferWindow(WindowContext& context, RecentFolders& recentFolders, AnswerOffer answer)
    : context_(context), recentFolders_(recentFolders), answer_(std::move(answer)) {
    setObjectName("offers");
    setWindowTitle(qPhrase("Offered by Your Browser"));
    makeWidgets();
    setMinimumWidth(leastWidth);
    guard_.setSingleShot(true);
    guard_.setInterval(guardTime);
    connect(&guard_, &QTimer::timeout, this, &OfferWindow::showButtons);
    auto* const close = new QAction(qPhrase("Close"), this);
    close->setShortcuts({Qt::Key_Escape, QKeySequence(QKeySequence::Close)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
}

void OfferWindow::makeWidgets() {
    heading_ = new QLabel;
    heading_->setObjectName("heading");
    heading_->setFont(tessivar::type::title(heading_->font()));
    heading_->setWordWrap(true);
    about_ = new tessivar::QuietLabel;
    about_->setObjectName("about");
    about_->setTextFormat(Qt::PlainText);
    list_ = new QListWidget;
    list_->setObjectName("list");
    list_->setAccessibleName(qPhrase("Offered downloads"));
    connect(list_, &QListWidget::itemChanged, this, [this](const QListWidgetItem* item) {
        const auto token = item->data(Qt::UserRole).toString().toStdString();
        if (item->checkState() == Qt::Checked) {
            unwanted_.erase(token);
        } else {
            unwanted_.insert(token);
        }
        showButtons();
    });
    remember_ = new QCheckBox;
    remember_->setObjectName("remember");

    auto* const page = new QVBoxLayout(this);
    page->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    page->setSpacing(spacing::medium);
    page->addWidget(heading_);
    page->addWidget(about_);
    page->addWidget(makeSingle());
    page->addWidget(list_, 1);
    page->addWidget(remember_);
    page->addStretch();
    page->addWidget(makeButtons());
}

QWidget* OfferWindow::makeSingle() {
    single_ = new QWidget;
    name_ = new QLineEdit;
    name_->setObjectName("name");
    name_->setAccessibleName(qPhrase("Name"));
    folder_ = new FolderChoice;
    folder_->setObjectName("folder");
    folder_->setAccessibleName(qPhrase("Folder"));
    connect(folder_, &FolderChoice::browseWanted, this,
            [this] { folder_->browse(offers_.empty() ? context_.manager.folder({}) : offers_[0].folder); });
    auto* const grid = new QGridLayout(single_);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(spacing::medium);
    grid->setVerticalSpacing(spacing::small);
    grid->addWidget(labelFor(name_, qPhrase("&Name")), 0, 0);
    grid->addWidget(name_, 0, 1);
    grid->addWidget(labelFor(folder_, qPhrase("F&older")), 1, 0);
    grid->addWidget(folder_, 1, 1);
    destination_ = new tessivar::QuietLabel;
    destination_->setObjectName("destination");
    grid->addWidget(destination_, 2, 1);
    connect(folder_, &FolderChoice::folderChosen, this, &OfferWindow::showDestination);
    grid->setColumnStretch(1, 1);
    return single_;
}

QWidget* OfferWindow::makeButtons() {
    leave_ = new QPushButton;
    leave_->setObjectName("leave");
    connect(leave_, &QPushButton::clicked, this, &OfferWindow::leave);
    accept_ = new QPushButton;
    accept_->setObjectName("accept");
    accept_->setIcon(tessivar::icon("download"));
    accept_->setDefault(true);
    accept_->setAutoDefault(true);
    connect(accept_, &QPushButton::clicked, this, &OfferWindow::accept);
    auto* const enter = new QAction(this);
    enter->setShortcuts({Qt::Key_Return, Qt::Key_Enter});
    connect(enter, &QAction::triggered, this, [this] { (leave_->hasFocus() ? leave_ : accept_)->click(); });
    addAction(enter);
    auto* const box = new QWidget;
    auto* const row = new QHBoxLayout(box);
    row->setContentsMargins(0, spacing::medium, 0, 0);
    row->setSpacing(spacing::medium);
    row->addStretch();
    row->addWidget(leave_);
    row->addWidget(accept_);
    return box;
}

void OfferWindow::setOffers(const std::vector<PendingOffer>& offers) {
    keepTyped();
    offers_ = offers;
    std::erase_if(typed_, [this](const auto& entry) { return !isOffered(entry.first); });
    std::erase_if(unwanted_, [this](const auto& token) { return !isOffered(token); });
    if (offers.empty()) {
        return;
    }
    const bool isOne = offers.size() == 1;
    if (isOne) {
        unwanted_.clear(); // there is no box to check it again
    }
    single_->setVisible(isOne && !offers[0].renews);
    about_->setVisible(isOne);
    list_->setVisible(!isOne);
    if (!isOne) {
        showSeveral();
    } else {
        showSingle(offers[0]);
    }
    const bool isOneSite = std::ranges::all_of(
        offers, [&](const auto& each) { return each.site == offers[0].site && !each.renews; });
    remember_->setVisible(isOneSite);
    remember_->setText(qPhrase("&Always do this with downloads from %1", words::oneLine(offers[0].site)));
    guard();
    adjustSize();
}

void OfferWindow::showSingle(const PendingOffer& offer) {
    const Download* const expired = offer.renews ? context_.manager.download(*offer.renews) : nullptr;
    heading_->setText(expired ? qPhrase("Carry On with “%1”?", words::oneLine(expired->record.displayName()))
                              : qPhrase("Download with Fluvane?"));
    about_->setText(expired ? qPhrase("Its link expired. Your browser has a fresh one from %1; what is "
                                      "downloaded stays.",
                                      words::oneLine(offer.site))
                            : aboutOf(offer));
    const auto typed = typed_.find(offer.token);
    const bool isTyped = typed != typed_.end();
    const QString name = isTyped ? typed->second.name : shown(words::oneLine(offer.name));
    if (name_->text() != name) {
        name_->setText(name);
    }
    folder_->setRecent(recentFolders_.folders());
    const auto& rules = context_.settings.config().rules;
    folder_->setRules(std::ranges::any_of(rules, [](const Rule& rule) { return rule.folder.has_value(); }));
    folder_->setFolder(isTyped ? typed->second.folder : std::nullopt);
    showDestination();
}

void OfferWindow::showDestination() {
    const bool isOne = offers_.size() == 1 && !offers_[0].renews;
    const URL folder = isOne ? folder_->folder().value_or(offers_[0].folder) : URL::folder("/");
    destination_->setText(qPhrase("It goes to %1.", folderText(folder)));
}

/// What was typed for one offer stays while others come and go.
void OfferWindow::keepTyped() {
    if (offers_.size() == 1 && !offers_[0].renews) {
        typed_.insert_or_assign(offers_[0].token, Typed{name_->text(), folder_->folder()});
    }
}

bool OfferWindow::isOffered(const std::string& token) const {
    return std::ranges::find(offers_, token, &PendingOffer::token) != offers_.end();
}

void OfferWindow::showSeveral() {
    heading_->setText(qPhrases("Download %1 File with Fluvane?", "Download %1 Files with Fluvane?",
                               static_cast<long long>(offers_.size())));
    const QSignalBlocker quiet(list_);
    list_->clear();
    for (const PendingOffer& offer : offers_) {
        auto* const item = new QListWidgetItem(
            tessivar::icon(kindIcon(offer.name)),
            qPhraseIn("name and value", "%1: %2", shortName(offer), aboutOf(offer)), list_);
        item->setToolTip(plainToolTip(shown(words::oneLine(offer.name))));
        item->setData(Qt::UserRole, shown(offer.token));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        item->setCheckState(isWanted(offer.token) ? Qt::Checked : Qt::Unchecked);
    }
}

bool OfferWindow::isWanted(const std::string& token) const {
    return !unwanted_.contains(token);
}

void OfferWindow::showButtons() {
    const auto wanted =
        std::ranges::count_if(offers_, [this](const auto& each) { return isWanted(each.token); });
    const bool renews = offers_.size() == 1 && offers_[0].renews;
    accept_->setText(renews               ? qPhrase("&Carry On")
                     : offers_.size() > 1 ? qPhrase("&Download %1", wanted)
                                          : qPhrase("&Download"));
    leave_->setText(offers_.size() > 1 ? qPhrase("&Leave All to the Browser")
                                       : qPhrase("&Leave It to the Browser"));
    accept_->setEnabled(wanted > 0 && !guard_.isActive());
    leave_->setEnabled(!guard_.isActive());
    if (!guard_.isActive() &&
        (!focusWidget() || focusWidget() == remember_)) { // left over for want of others
        accept_->setFocus();
    }
}

/// It comes unasked, and another offer changes what its buttons mean.
void OfferWindow::guard() {
    guard_.start();
    showButtons();
}

void OfferWindow::showEvent(QShowEvent* event) {
    guard();
    QWidget::showEvent(event);
}

void OfferWindow::closeEvent(QCloseEvent* event) {
    for (const PendingOffer& offer : std::exchange(offers_, {})) {
        answer_(offer.token, {});
    }
    QWidget::closeEvent(event);
}

void OfferWindow::accept() {
    if (!accept_->isEnabled()) {
        return;
    }
    keepTyped();
    const auto offers = std::exchange(offers_, {});
    for (const PendingOffer& offer : offers) {
        OfferAnswer answer{.isAccepted = isWanted(offer.token), .renew = offer.renews.has_value()};
        // What was left out of several says nothing of the site.
        answer.remember = answer.isAccepted && remember_->isVisible() && remember_->isChecked();
        if (const auto typed = typed_.find(offer.token); typed != typed_.end() && !answer.renew) {
            const auto name = DownloadManager::fileName(typed->second.name.toStdString());
            answer.name = name && *name != offer.name ? name : std::nullopt;
            answer.folder = typed->second.folder;
        }
        answer_(offer.token, answer);
    }
    close();
}

void OfferWindow::leave() {
    for (const PendingOffer& offer : std::exchange(offers_, {})) {
        answer_(offer.token, {.remember = remember_->isVisible() && remember_->isChecked()});
    }
    close();
}

} // namespace fluvane
