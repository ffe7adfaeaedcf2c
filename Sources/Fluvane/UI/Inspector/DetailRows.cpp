// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/DetailRows.h"

#include "Fluvane/UI/Inspector/Fields.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/RuleWords.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDateTime>
#include <QGridLayout>
#include <QLabel>

#include <algorithm>

namespace fluvane {

using tessivar::phrase;
using tessivar::qPhrase;

namespace {

QWidget* line(QWidget* parent) {
    return new ValueField(parent);
}

QWidget* paragraph(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

std::string shownLink(const std::optional<URL>& url) {
    return url ? words::oneLine(url->withoutCredentials().absoluteString()) : std::string();
}

/// The header's date by the local time; its own text when it is no date.
std::string changed(const std::string& header, Date now) {
    const QString text = QString::fromStdString(header).trimmed();
    const auto date = QDateTime::fromString(QString(text).replace(" GMT", " +0000"), Qt::RFC2822Date);
    return date.isValid() ? words::when(Date(std::chrono::milliseconds(date.toMSecsSinceEpoch())), {now})
                          : words::oneLine(header);
}

std::string ruleWords(const std::optional<std::string>& id, const Config& config) {
    if (!id) {
        return {};
    }
    const auto rule = std::ranges::find(config.rules, *id, &Rule::id);
    return rule == config.rules.end() ? phrase("A rule that is gone now") : words::rule(*rule);
}

} // namespace

DetailRows::DetailRows(QWidget* parent) : QWidget(parent), grid_(new QGridLayout(this)) {
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(tessivar::spacing::medium);
    grid_->setVerticalSpacing(tessivar::spacing::small);
    grid_->setColumnStretch(1, 1);
    addRow(Link, qPhrase("Link"), "link", line);
    addRow(FinalLink, qPhrase("Leads to"), "final-link", line);
    addRow(Referrer, qPhrase("Referrer"), "referrer", line);
    addRow(Folder, qPhrase("Folder"), "folder", line);
    addRow(File, qPhrase("File"), "file", line);
    addRow(Gone, {}, "file-gone", paragraph);
    addRow(Size, qPhrase("Size"), "size", paragraph);
    addRow(TimeLeft, qPhrase("Time left"), "time-left", paragraph);
    addRow(Added, qPhrase("Added"), "added", paragraph);
    addRow(Completed, qPhrase("Finished"), "completed", paragraph);
    addRow(LastModified, qPhrase("Last changed"), "last-modified", paragraph);
    addRow(ETag, qPhrase("ETag"), "etag", line);
    addRow(Resumable, qPhrase("Can resume"), "resumable", paragraph);
    addRow(Rule, qPhrase("Rule"), "rule", paragraph);
    addRow(Checksum, qPhrase("Checksum"), "expected-checksum", line);
    addRow(ChecksumStanding, qPhrase("Result"), "checksum-result", paragraph);
    addRow(Computed, qPhrase("Computed"), "computed-checksum", line);
    values_[LastModified]->setToolTip(qPhrase("When the file was last changed on the server."));
}

void DetailRows::addRow(Row row, const QString& label, const char* name, Make make) {
    auto* title = new tessivar::QuietLabel(label, this); // first: so it is read
    QWidget* const value = make(this);
    title->setWordWrap(false);
    title->setBuddy(value);
    value->setObjectName(name);
    if (qobject_cast<ValueField*>(value)) {
        value->setAccessibleName(label); // a label's name is what it says
    }
    grid_->addWidget(title, row, 0, Qt::AlignLeft | Qt::AlignTop);
    grid_->addWidget(value, row, 1);
    title->hide();
    value->hide();
    titles_[row] = title;
    values_[row] = value;
}

void DetailRows::set(Row row, const std::string& text, const std::string& toolTip) {
    QWidget* const value = values_[row];
    const QString shown = QString::fromStdString(text);
    const QString tip = QString::fromStdString(toolTip);
    if (auto* field = qobject_cast<ValueField*>(value)) {
        field->setValue(shown, tip);
    } else if (auto* label = qobject_cast<QLabel*>(value)) {
        setWords(*label, shown);
        if (!tip.isEmpty()) {
            label->setToolTip(tip);
        }
    }
    titles_[row]->setHidden(shown.isEmpty());
    value->setHidden(shown.isEmpty());
}

void DetailRows::follow(const Download& download, const Config& config, Date now) {
    const auto& record = download.record;
    followPlaces(record);
    followProgress(download, now);
    followServer(record, now);
    set(Rule, ruleWords(record.rule, config));
    followChecksum(record);
}

void DetailRows::setGone(bool gone) {
    set(Gone, gone ? phrase("It was moved or deleted since.") : "");
}

void DetailRows::followPlaces(const DownloadRecord& record) {
    const std::string link = shownLink(record.url);
    const std::string final = shownLink(record.finalURL);
    set(Link, link);
    set(FinalLink, final == link ? "" : final);
    set(Referrer, shownLink(record.referrer));
    set(Folder, folderText(record.folder));
    const auto& file = record.file ? record.file : record.partial;
    const std::string path = file ? words::oneLine(file->path()) : std::string();
    set(File, path.substr(path.rfind('/') + 1), path);
}

void DetailRows::followProgress(const Download& download, Date now) {
    const auto& record = download.record;
    const std::int64_t done = download.liveBytes();
    const bool finished = record.state.is<DownloadState::Finished>();
    const bool known = record.size && *record.size >= 0;
    if (!known) {
        set(Size, done > 0 ? phrase("%1 so far", words::bytes(done)) : phrase("Not known yet"),
            words::exactBytes(done));
    } else if (finished) {
        set(Size, words::bytes(*record.size), words::exactBytes(*record.size));
    } else {
        set(Size, phrase("%1 of %2", words::bytes(done), words::bytes(*record.size)),
            phrase("%1 of %2", words::exactBytes(done), words::exactBytes(*record.size)));
    }
    const bool timed = record.state.usesNetwork() && download.secondsLeft;
    set(TimeLeft, timed ? words::timeLeft(*download.secondsLeft) : "");
    set(Added, words::when(record.added, {now}));
    set(Completed, record.completed ? words::when(*record.completed, {now}) : "");
}

void DetailRows::followServer(const DownloadRecord& record, Date now) {
    const auto validators = record.validators.value_or(Validators{});
    set(LastModified, validators.lastModified ? changed(*validators.lastModified, now) : "");
    set(ETag, validators.etag ? words::oneLine(*validators.etag) : "");
    set(Resumable, words::resumability(record));
}

void DetailRows::followChecksum(const DownloadRecord& record) {
    const auto* differs = record.checksumResult
                              ? std::get_if<ChecksumResult::Differs>(&record.checksumResult->outcome)
                              : nullptr;
    const std::string name(record.checksum ? fluvane::Checksum::name(record.checksum->algorithm) : "");
    set(Checksum, record.checksum ? name + " " + record.checksum->hex : "");
    set(ChecksumStanding, words::checksumStanding(record));
    set(Computed, differs ? name + " " + differs->computed : "");
}

} // namespace fluvane
