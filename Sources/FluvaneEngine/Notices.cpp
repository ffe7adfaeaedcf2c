// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Notices.h"

#include <algorithm>

namespace fluvane {

namespace {

constexpr double gatherTime = 3; ///< Seconds.

} // namespace

void Notices::finished(const DownloadRecord& record) {
    if (record.isMismatched()) { // not to be missed among others
        if (areWanted(record)) {
            notifier_->finished(record);
        }
    } else {
        gather(Matter::finished, record, [this, record] { notifier_->finished(record); });
    }
}

void Notices::failed(const DownloadRecord& record, const std::string& reason) {
    gather(Matter::needAttention, record, [this, record, reason] { notifier_->failed(record, reason); });
}

void Notices::linkExpired(const DownloadRecord& record) {
    gather(Matter::needAttention, record, [this, record] { notifier_->linkExpired(record); });
}

void Notices::several(Matter matter, const std::vector<std::string>& names) {
    notifier_->several(matter, names);
}

void Notices::gather(Matter matter, const DownloadRecord& record, std::function<void()> tellAlone) {
    if (!areWanted(record)) {
        return;
    }
    const bool waits = !gathered_.empty();
    auto& gathered = gathered_[matter];
    gathered.names.push_back(record.displayName());
    if (gathered.names.size() == 1) {
        gathered.tellAlone = std::move(tellAlone);
    }
    const bool isMoreToCome = std::ranges::any_of(list_, [&record](const auto& other) {
        const DownloadState& state = other->record.state;
        return other->id() != record.id && (state.isActive() || state.is<DownloadState::Queued>());
    });
    if (!waits && isMoreToCome) {
        scheduler_->after(gatherTime, [self = weak_from_this()] {
            if (const auto notices = self.lock()) {
                notices->tell();
            }
        });
    } else if (!waits) {
        tell();
    }
}

bool Notices::areWanted(const DownloadRecord& record) const {
    return conditions_.config.notifyWhenDone && !record.removed.value_or(false);
}

void Notices::tell() {
    for (const auto& [matter, gathered] : std::exchange(gathered_, {})) {
        gathered.names.size() == 1 ? gathered.tellAlone() : notifier_->several(matter, gathered.names);
    }
}

} // namespace fluvane
