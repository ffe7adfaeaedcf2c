// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ChecksumDialog.h"

#include "Fluvane/UI/Inspector/Fields.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Objections.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

namespace {

constexpr const char* explanation =
    marked("Paste the SHA-256, SHA-1 or MD5 that the file's publisher gives. It "
           "tells whether you got the very same file.");

QString shown(std::string_view text) {
    return QString::fromUtf8(text.data(), std::ssize(text));
}

/// How the record's own checksum stands.
QString standing(const DownloadRecord& record) {
    const QString name = shown(Checksum::name(record.checksum->algorithm));
    if (!record.checksumResult) {
        return qPhrase("%1.", words::checksumStanding(record));
    }
    return record.checksumResult->matches()
               ? qPhrase("The file's %1 matches.", name)
               : shown(words::checksumMismatch(Checksum::name(record.checksum->algorithm),
                                               folderText(record.folder)));
}

} // namespace

ChecksumDialog::ChecksumDialog(WindowContext& context, DownloadID id)
    : DownloadDialog(context, id, {.title = qPhrase("Checksum"), .explanation = qPhrase(explanation)}),
      field_(new QLineEdit(this)) {
    setObjectName("checksum");
    field_->setObjectName("checksum-field");
    field_->setAccessibleName(qPhrase("Checksum"));
    addField(qPhrase("C&hecksum"), field_);
    note_ = addWords("note");
    auto* buttons = new QDialogButtonBox(this);
    check_ = buttons->addButton(qPhrase("&Check"), QDialogButtonBox::AcceptRole);
    takeAway_ = buttons->addButton(qPhrase("&Remove Checksum"), QDialogButtonBox::DestructiveRole);
    close_ = buttons->addButton(qPhrase("Cancel"), QDialogButtonBox::RejectRole);
    takeAway_->setObjectName("take-away");
    content().addStretch();
    content().addWidget(buttons);
    if (const Download* asked = download(); asked && asked->record.checksum) {
        field_->setText(shown(asked->record.checksum->hex));
        field_->selectAll();
    }
    connect(check_, &QPushButton::clicked, this, &ChecksumDialog::accept);
    connect(takeAway_, &QPushButton::clicked, this, &ChecksumDialog::takeAway);
    connect(close_, &QPushButton::clicked, this, &QDialog::close);
    connect(field_, &QLineEdit::textChanged, this, &ChecksumDialog::typed);
    field_->setFocus();
}

bool ChecksumDialog::stillApplies(const Download& /*download*/) const {
    return true;
}

void ChecksumDialog::refresh(const Download& download) {
    const auto& checksum = download.record.checksum;
    const auto given = Checksum::recognise(field_->text().toStdString());
    takeAway_->setEnabled(checksum.has_value());
    check_->setEnabled(given && given != checksum);
    close_->setText(checksum && given == checksum ? qPhrase("Close") : qPhrase("Cancel"));
    setWords(*note_, note());
}

QString ChecksumDialog::note() const {
    const auto& record = download()->record;
    const auto given = Checksum::recognise(field_->text().toStdString());
    if (field_->text().trimmed().isEmpty()) {
        return {};
    }
    if (!given) {
        return qPhrase(words::unknownChecksum);
    }
    if (given == record.checksum) {
        return standing(record);
    }
    const bool finished = record.state.is<DownloadState::Finished>();
    // Translators: %1 is SHA-256 or SHA-1.
    const QString kind = given->algorithm == Checksum::Algorithm::md5
                             ? qPhrase("This is an MD5.")
                             : qPhrase("This is a %1.", Checksum::name(given->algorithm));
    return kind + " " +
           (finished ? qPhrase("The finished file is checked against it.")
                     : qPhrase("Checked once every byte is in."));
}

void ChecksumDialog::typed() {
    if (const Download* asked = download()) {
        refresh(*asked);
    }
}

void ChecksumDialog::accept() {
    const auto given = Checksum::recognise(field_->text().toStdString());
    const Download* const asked = download();
    if (!given || !asked) {
        return;
    }
    const bool staysToTell = asked->record.state.is<DownloadState::Finished>();
    context().manager.setChecksum(id(), given);
    if (staysToTell) {
        close_->setFocus(); // not the button beside this one, which is disabled now
        typed();
    } else {
        close();
    }
}

void ChecksumDialog::takeAway() {
    context().manager.setChecksum(id(), std::nullopt);
    close();
}

} // namespace fluvane
