// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Notices/LinuxNotifier.h"

#include "Fluvane/Linux/Notices/NotificationServer.h"
#include "FluvaneCore/Words.h"

#include <algorithm>
#include <utility>

namespace fluvane {

namespace {

/// A folder as a person calls it.
std::string lastComponent(const URL& folder) {
    const std::string path = folder.path();
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.empty() ? path : name;
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
             {record.displayName(),
              words::checksumMismatch(Checksum::name(record.checksum->algorithm), folder)},
             record.file);
    } else {
        post(Kind::done, {record.displayName(), "Downloaded to " + folder + "."}, record.file);
    }
}

void LinuxNotifier::failed(const DownloadRecord& record, const std::string& reason) {
    post(Kind::stuck, {record.displayName(), reason}, {});
}

void LinuxNotifier::linkExpired(const DownloadRecord& record) {
    post(Kind::stuck,
         {record.displayName(),
          "The link expired. Paste a fresh one to carry on; nothing downloaded is lost."},
         {});
}

void LinuxNotifier::several(Matter matter, const std::vector<std::string>& names) {
    constexpr std::size_t shown = 3;
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), shown); ++i) {
        list += (i == 0 ? "" : ", ") + names[i];
    }
    if (names.size() > shown) {
        list += " and " + std::to_string(names.size() - shown) + " more";
    }
    const bool isDone = matter == Matter::finished;
    post(
        isDone ? Kind::done : Kind::stuck,
        {std::to_string(names.size()) + (isDone ? " downloads finished" : " downloads need attention"), list},
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

/// As it is shown: names and reasons come from outside.
const LinuxNotifier::Notice& LinuxNotifier::remember(const Notice& notice) {
    sent_.push_back({words::oneLine(notice.title), words::oneLine(notice.body)});
    if (sent_.size() > remembered) {
        sent_.pop_front();
    }
    return sent_.back();
}

} // namespace fluvane
