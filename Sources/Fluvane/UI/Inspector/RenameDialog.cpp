// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/RenameDialog.h"

#include "Fluvane/UI/Inspector/Fields.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace fluvane {

using tessivar::qPhrase;

namespace {

const char* const explanation =
    tessivar::marked("The file gets this name, finished or not. Nothing is replaced: a name that is taken "
                     "gets a number.");

} // namespace

RenameDialog::RenameDialog(WindowContext& context, DownloadID id)
    : DownloadDialog(context, id, {.title = qPhrase("Rename"), .explanation = qPhrase(explanation)}),
      field_(new QLineEdit(this)) {
    setObjectName("rename");
    field_->setObjectName("new-name");
    field_->setAccessibleName(qPhrase("Name"));
    if (const Download* asked = download()) {
        const auto name = words::oneLine(asked->record.displayName());
        field_->setText(QString::fromStdString(name));
        const auto stem = QString::fromStdString(fileName::split(name).stem);
        field_->setSelection(0, static_cast<int>(stem.size()));
    }
    addField(qPhrase("&Name"), field_);
    note_ = addWords("note");
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    rename_ = buttons->addButton(qPhrase("&Rename"), QDialogButtonBox::AcceptRole);
    content().addStretch();
    content().addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &RenameDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(field_, &QLineEdit::textChanged, this, &RenameDialog::typed);
    field_->setFocus();
    typed();
}

bool RenameDialog::stillApplies(const Download& download) const {
    return abilities(download).move || isUnderWay_;
}

void RenameDialog::refresh(const Download& /*download*/) {}

/// What is typed stays as it is while it is typed; how it will be saved is said below it.
void RenameDialog::typed() {
    const auto text = field_->text().toStdString();
    const auto name = DownloadManager::fileName(text);
    const Download* asked = download();
    const bool isSame = asked && name == asked->record.displayName();
    rename_->setEnabled(name && !isSame && !isUnderWay_);
    setWords(*note_, !name          ? qPhrase("Type a name.")
                     : name != text ? qPhrase("Saved as “%1”.", *name)
                                    : QString());
}

void RenameDialog::accept() {
    if (!rename_->isEnabled()) {
        return;
    }
    isUnderWay_ = true;
    field_->setFocus(); // not the button beside this one, which is disabled now
    rename_->setEnabled(false);
    context().manager.move(id(), std::nullopt, field_->text().toStdString(),
                           [self = QPointer(this)](const auto& name) {
                               if (self) {
                                   self->renamed(name);
                               }
                           });
}

/// Another name than the one asked for is told before the dialog goes.
void RenameDialog::renamed(const Outcome<std::string>& name) {
    isUnderWay_ = false;
    if (!name.ok()) {
        typed();
        setWords(*note_, QString::fromStdString(words::sentence(words::oneLine(name.error()))));
        return;
    }
    if (DownloadManager::fileName(field_->text().toStdString()) == name.value()) {
        close();
        return;
    }
    const QString got = QString::fromStdString(words::oneLine(name.value()));
    field_->setText(got);
    setWords(*note_, qPhrase("That name was taken: it is “%1” now.", got));
}

} // namespace fluvane
