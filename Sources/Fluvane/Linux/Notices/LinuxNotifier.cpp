// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Notices/LinuxNotifier.h"

#include "Fluvane/Linux/Notices/NotificationServer.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::phrase;
using tessivar::phraseIn;
using tessivar::phrases;

namespace {

/// A folder as a person calls it.
std::string lastComponent(const URL& folder) {
    const std::string path = folder.path();
    const std::string name = path.substr(path.rfind('/') + 1);
    return words::oneLine(name.empty() ? path : name);
}

} // namespace

LinuxNotifier::LinuxNotifier(Bus& session, std::function<bool()> wanted, Reveal reveal, double patience)
    : wanted_(std::move(wanted)),
      server_(std::make_unique<NotificationServer>(session, std::move(reveal), patience)) {}

LinuxNotifier::~LinuxNotifier() = default;

void LinuxNotifier::finished(const DownloadRecord& record) {
    const std::string folder = lastComponent(record.folder);
    if (record.isMismatched()) {
        post(Kind::suspicious,
             {words::oneLine(record.displayName()),
              words::checksumMismatch(Checksum::name(record.checksum->algorithm), folder)},
             record.file);
    } else {
        post(Kind::done, {words::oneLine(record.displayName()), phrase("Downloaded to %1.", folder)},
             record.file);
    }
}

void LinuxNotifier::failed(const DownloadRecord& record, const std::string& reason) {
    post(Kind::stuck, {words::oneLine(record.displayName()), words::sentence(words::oneLine(reason))}, {});
}

void LinuxNotifier::linkExpired(const DownloadRecord& record) {
    post(Kind::stuck,
         {words::oneLine(record.displayName()),
          phrase("The link expired. Paste a fresh one to carry on; nothing downloaded is lost.")},
         {});
}

void LinuxNotifier::several(Matter matter, const std::vector<std::string>& names) {
    constexpr std::size_t shown = 3;
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), shown); ++i) {
        list += (i == 0 ? "" : phraseIn("between items of a list", ", ")) +
                tessivar::isolated(words::oneLine(names[i]));
    }
    if (names.size() > shown) {
        // Translators: %2 is a list of names, %1 how many more there are.
        list = phrases("%2 and %1 more", "%2 and %1 more", names.size() - shown, list);
    }
    const bool isDone = matter == Matter::finished;
    post(isDone ? Kind::done : Kind::stuck,
         {isDone ? phrases("%1 download finished", "%1 downloads finished", names.size())
                 : phrases("%1 download needs attention", "%1 downloads need attention", names.size()),
          list},
         {});
}

void LinuxNotifier::post(Kind kind, const Notice& notice, const std::optional<URL>& file) {
    if (!wanted_()) {
        return;
    }
    // Only what the user should not miss stays until it is dismissed.
    using Urgency = NotificationServer::Urgency;
    const auto& shown = remember(notice);
    server_->show({.title = shown.title,
                   .body = shown.body,
                   .file = file,
                   .category = kind == Kind::done ? "transfer.complete" : "transfer.error",
                   .urgency = kind == Kind::suspicious ? Urgency::critical : Urgency::normal});
}

void LinuxNotifier::tell(const Notice& notice) {
    const auto& shown = remember(notice);
    server_->show({.title = shown.title,
                   .body = shown.body,
                   .file = {},
                   .category = "x-fluvane.update",
                   .urgency = NotificationServer::Urgency::normal});
}

const LinuxNotifier::Notice& LinuxNotifier::remember(const Notice& notice) {
    sent_.push_back(notice);
    if (sent_.size() > remembered) {
        sent_.pop_front();
    }
    return sent_.back();
}

} // namespace fluvane
