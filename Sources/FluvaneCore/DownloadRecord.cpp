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

constexpr std::array<std::pair<Wait, std::string_view>, 4> waitNames = {
    {{Wait::offline, "offline"},
     {Wait::retrying, "retrying"},
     {Wait::linkExpired, "linkExpired"},
     {Wait::limitedNetwork, "limitedNetwork"}}};

} // namespace

bool DownloadState::isWaiting(Wait reason) const {
    const auto* waiting = std::get_if<Waiting>(&value);
    return waiting && waiting->reason == reason;
}

const std::string* DownloadState::failure() const {
    const auto* failed = std::get_if<Failed>(&value);
    return failed ? &failed->message : nullptr;
}

bool DownloadState::usesNetwork() const {
    return is<Starting>() || is<Downloading>() || isWaiting(Wait::retrying);
}

bool DownloadState::isActive() const {
    return usesNetwork() || is<Verifying>() || is<Finishing>();
}

bool DownloadState::isDone() const {
    return is<Finished>() || is<Failed>();
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

DownloadRecord::DownloadRecord(std::int64_t id_, URL url_, URL folder_, std::optional<URL> referrer_,
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

std::int64_t DownloadRecord::queueKey() const {
    return queueOrder.value_or(id);
}

} // namespace fluvane
