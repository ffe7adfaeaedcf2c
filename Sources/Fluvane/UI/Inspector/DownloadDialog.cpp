// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/DownloadDialog.h"

#include "Fluvane/UI/Inspector/Fields.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Spacing.h"

#include <QGridLayout>
#include <QVBoxLayout>

namespace fluvane {

namespace {

constexpr int leastWidth = 460;

} // namespace

DownloadDialog::DownloadDialog(WindowContext& context, DownloadID id, const Texts& texts)
    : context_(context), id_(id), content_(new QVBoxLayout(this)), name_(new ElidedLabel(this)) {
    using tessivar::spacing::margin;
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(texts.title);
    setMinimumWidth(leastWidth);
    content_->setContentsMargins(margin, margin, margin, margin);
    content_->setSpacing(tessivar::spacing::medium);
    name_->setFont(tessivar::type::heading(name_->font()));
    name_->setObjectName("download-name");
    content_->addWidget(name_);
    setWords(*addWords("explanation"), texts.explanation);
    connect(&context.feed, &ListFeed::changed, this, &DownloadDialog::follow);
}

QLabel* DownloadDialog::addWords(const QString& name) {
    auto* label = new QLabel(this);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    content_->addWidget(label);
    return label;
}

void DownloadDialog::addField(const QString& label, QWidget* field) {
    if (!fields_) {
        fields_ = new QGridLayout;
        fields_->setHorizontalSpacing(tessivar::spacing::medium);
        fields_->setVerticalSpacing(tessivar::spacing::medium);
        fields_->setColumnStretch(1, 1);
        content_->addLayout(fields_);
    }
    auto* const words = new QLabel(label, this);
    words->setBuddy(field);
    const int row = fields_->rowCount();
    fields_->addWidget(words, row, 0);
    fields_->addWidget(field, row, 1);
}

void DownloadDialog::showEvent(QShowEvent* event) {
    follow();
    QDialog::showEvent(event);
}

void DownloadDialog::follow() {
    const Download* const asked = download();
    if (!asked || !stillApplies(*asked)) {
        close();
        return;
    }
    name_->setWhole(QString::fromStdString(words::oneLine(asked->record.displayName())));
    refresh(*asked);
}

} // namespace fluvane
