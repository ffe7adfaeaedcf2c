// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/DownloadRecord.h"

#include "FluvaneCore/FileName.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

namespace {

using Wait = DownloadState::Wait;

constexpr std::array<std::pair<Wait, std::string_view>, 5> waitNames = {
    {{Wait::offline, "offline"},
     {Wait::retrying, "retrying"},
     {Wait::linkExpired, "linkExpired"},
     {Wait::limitedNetwork, "limitedNetwork"},
     {Wait::space, "space"}}};

StateKind kindOf(Wait reason) {
    switch (reason) {
    case Wait::offline:
        return StateKind::offline;
    case Wait::retrying:
        return StateKind::retrying;
    case Wait::linkExpired:
        return StateKind::linkExpired;
    case Wait::limitedNetwork:
        return StateKind::limitedNetwork;
    case Wait::space:
        return StateKind::space;
    }
    return StateKind::offline;
}

/// A case that is forgotten here doesn't compile.
struct KindOfCase {
    StateKind operator()(DownloadState::Queued) const { return StateKind::queued; }
    StateKind operator()(DownloadState::Starting) const { return StateKind::starting; }
    StateKind operator()(DownloadState::Downloading) const { return StateKind::downloading; }
    StateKind operator()(DownloadState::Paused) const { return StateKind::paused; }
    StateKind operator()(DownloadState::Waiting waiting) const { return kindOf(waiting.reason); }
    StateKind operator()(DownloadState::Verifying) const { return StateKind::verifying; }
    StateKind operator()(DownloadState::Finishing) const { return StateKind::finishing; }
    StateKind operator()(DownloadState::Finished) const { return StateKind::finished; }
    StateKind operator()(const DownloadState::Failed&) const { return StateKind::failed; }
};

} // namespace

StateKind DownloadState::kind() const {
    return std::visit(KindOfCase{}, value);
}

bool DownloadState::isWaiting(Wait reason) const {
    const auto* waiting = std::get_if<Waiting>(&value);
    return waiting && waiting->reason == reason;
}

const std::string* DownloadState::failure() const {
    const auto* failed = std::get_if<Failed>(&value);
    return failed ? &failed->message : nullptr;
}

bool DownloadState::usesNetwork() const {
    switch (kind()) {
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::retrying:
        return true;
    case StateKind::queued:
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::verifying:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return false;
    }
    return false;
}

bool DownloadState::isActive() const {
    return usesNetwork() || runs(kind());
}

bool DownloadState::isDone() const {
    switch (kind()) {
    case StateKind::finished:
    case StateKind::failed:
        return true;
    case StateKind::queued:
    case StateKind::starting:
    case StateKind::downloading:
    case StateKind::paused:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
    case StateKind::verifying:
    case StateKind::finishing:
        return false;
    }
    return false;
}

std::string_view DownloadState::rawValue(Wait reason) {
    return waitNames[static_cast<std::size_t>(reason)].second;
}

std::optional<DownloadState::Wait> DownloadState::waitFrom(std::string_view rawValue) {
    for (const auto& [reason, name] : waitNames) {
        if (name == rawValue) {
            return reason;
        }
    }
    return std::nullopt;
}

DownloadRecord::DownloadRecord(DownloadID id_, URL url_, URL folder_, std::optional<URL> referrer_,
                               Date added_)
    : id(id_), url(std::move(url_)), referrer(std::move(referrer_)), folder(std::move(folder_)),
      added(added_) {}

std::int64_t DownloadRecord::doneBytes() const {
    return fluvane::doneBytes(pieces);
}

std::optional<double> DownloadRecord::fraction() const {
    if (state.is<DownloadState::Finished>()) {
        return 1.0;
    }
    if (!size || *size < 0) {
        return std::nullopt;
    }
    if (*size == 0) {
        return 1.0;
    }
    return std::min(static_cast<double>(doneBytes()) / static_cast<double>(*size), 1.0);
}

std::string DownloadRecord::displayName() const {
    return name ? *name : fileName::suggested(std::nullopt, url, std::nullopt);
}

bool DownloadRecord::isMismatched() const {
    return checksum && checksumResult && !checksumResult->matches();
}

std::int64_t DownloadRecord::queueKey() const {
    return queueOrder.value_or(number(id));
}

} // namespace fluvane
