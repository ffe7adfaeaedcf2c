// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ChangeLinkDialog.h"

#include "Fluvane/Links/Links.h"
#include "Fluvane/UI/Inspector/Fields.h"
#include "Fluvane/UI/Models/DroppedData.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;
using tessivar::qPhrases;

namespace {

constexpr const char* explanation =
    marked("Paste a fresh link to the same file. What's downloaded stays; if it turns out to "
           "be a different file, the download stops and says so.");

} // namespace

ChangeLinkDialog::ChangeLinkDialog(WindowContext& context, DownloadID id)
    : DownloadDialog(context, id, {.title = qPhrase("Change Link"), .explanation = qPhrase(explanation)}),
      field_(new QLineEdit(this)) {
    setObjectName("change-link");
    auto* now = new ValueField(this);
    now->setObjectName("current-link");
    now->setAccessibleName(qPhrase("Link now"));
    if (const Download* asked = download()) {
        now->setValue(
            QString::fromStdString(words::oneLine(asked->record.url.withoutCredentials().absoluteString())));
    }
    field_->setObjectName("new-link");
    field_->setAccessibleName(qPhrase("Fresh link"));
    addField(qPhrase("Link now"), now);
    addField(qPhrase("&Fresh link"), field_);
    note_ = addWords("note");
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    change_ = buttons->addButton(qPhrase("&Change Link"), QDialogButtonBox::AcceptRole);
    content().addStretch();
    content().addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &ChangeLinkDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(field_, &QLineEdit::textChanged, this, &ChangeLinkDialog::typed);
    field_->setFocus();
    typed();
    offerClipboard();
}

bool ChangeLinkDialog::stillApplies(const Download& download) const {
    return abilities(download).changeLink;
}

void ChangeLinkDialog::refresh(const Download& /*download*/) {}

void ChangeLinkDialog::typed() {
    links_ = links::find(field_->text().toStdString());
    const bool one = links_.size() == 1;
    const Download* asked = download();
    change_->setEnabled(one);
    if (field_->text().trimmed().isEmpty()) {
        setWords(*note_, "");
    } else if (one && asked && links_.front() == asked->record.url) {
        setWords(*note_, qPhrase("That's the link it has now."));
    } else if (one) {
        setWords(*note_, field_->text() == offered_ ? qPhrase("This link is from the clipboard.") : "");
    } else {
        setWords(*note_, links_.empty() ? qPhrase("There's no web link in that.")
                                        : qPhrases("That's %1 link. Give just one.",
                                                   "That's %1 links. Give just one.", links_.size()));
    }
}

void ChangeLinkDialog::offerClipboard() {
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    if (copied && mayHoldLinks(*copied)) {
        findLinks(*copied, this, [this](const std::vector<URL>& links) { offer(links); });
    }
}

void ChangeLinkDialog::offer(const std::vector<URL>& links) {
    const Download* asked = download();
    const bool fits = links.size() == 1 && links.front().isWeb() && asked &&
                      links.front() != asked->record.url && links.front() != asked->record.finalURL;
    if (fits && field_->text().isEmpty()) {
        offered_ = QString::fromStdString(links.front().absoluteString());
        field_->setText(offered_);
        field_->selectAll(); // what is pasted or typed takes its place
    }
}

void ChangeLinkDialog::accept() {
    if (links_.size() == 1) {
        context().manager.updateLink(id(), links_.front());
        close();
    }
}

} // namespace fluvane
