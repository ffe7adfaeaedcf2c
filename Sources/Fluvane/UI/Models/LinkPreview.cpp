// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/LinkPreview.h"

#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <QMimeDatabase>

#include <utility>

namespace fluvane {

using tessivar::phrase;
using tessivar::phraseIn;

namespace {

/// By the name, as the server's word is often nothing but "bytes"; empty for what nobody knows.
std::string kind(const LinkFacts& facts) {
    const QMimeDatabase types;
    const auto byName = types.mimeTypesForFileName(QString::fromStdString(facts.name));
    const QString sent = QString::fromStdString(facts.type.value_or("")).section(';', 0, 0).trimmed();
    const QMimeType type = byName.isEmpty() ? types.mimeTypeForName(sent.toLower()) : byName.first();
    return type.isValid() && !type.isDefault() ? type.comment().toStdString() : std::string();
}

std::string sentenceOn(const LinkFacts& facts) {
    if (facts.isPage) {
        return phrase("This link opens a web page, not a file.");
    }
    const std::string known = kind(facts);
    const std::string size =
        facts.size ? words::bytes(*facts.size) : phrase("The server doesn't say how large it is");
    return known.empty() ? size : size + phraseIn("between items of a list", ", ") + words::oneLine(known);
}

} // namespace

LinkPreview::LinkPreview(DownloadManager& manager) : manager_(manager) {
    pause_.setSingleShot(true);
    pause_.setInterval(pause);
    connect(&pause_, &QTimer::timeout, this, &LinkPreview::ask);
}

LinkPreview::~LinkPreview() = default;

void LinkPreview::follow(const std::optional<Inquiry::Question>& question) {
    if (question == question_) {
        if (question_ && !inquiry_ && !outcome_ && !pause_.isActive()) {
            pause_.start();
        }
        return;
    }
    question_ = question;
    inquiry_.reset();
    outcome_.reset();
    question_ ? pause_.start() : pause_.stop();
    Q_EMIT changed();
}

const LinkFacts* LinkPreview::facts(const URL& link) const {
    const bool isKnown =
        question_ && link == question_->link && outcome_ && outcome_->ok() && !outcome_->value().isPage;
    return isKnown ? &outcome_->value() : nullptr;
}

std::string LinkPreview::sentence() const {
    if (outcome_) {
        return outcome_->ok() ? sentenceOn(outcome_->value())
                              : words::oneLine(words::sentence(outcome_->error()));
    }
    if (!inquiry_) {
        return {};
    }
    const auto host = question_->link.host();
    return host ? phrase("Asking %1…", words::oneLine(*host)) : phrase("Asking the server…");
}

void LinkPreview::ask() {
    inquiry_ = manager_.inquire(*question_, [this](const auto& outcome) { take(outcome); });
    if (inquiry_) {
        Q_EMIT changed();
    }
}

void LinkPreview::take(const Outcome<LinkFacts>& outcome) {
    inquiry_.reset();
    outcome_ = outcome;
    Q_EMIT changed();
}

} // namespace fluvane
