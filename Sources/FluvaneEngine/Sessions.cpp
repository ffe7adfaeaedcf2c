// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Sessions.h"

#include <algorithm>

namespace fluvane {

void Sessions::restore() {
    if (!store_) {
        return;
    }
    kept_ = store_->load();
    for (const auto& download : list_) {
        const auto& record = download->record;
        const auto found = std::ranges::find_if(kept_, [&](const KeptSession& kept) {
            return kept.owner == Owner(record) && kept.link == record.url;
        });
        if (record.session && found != kept_.end()) {
            download->session = found->session;
        }
    }
}

void Sessions::follow() {
    std::vector<KeptSession> needed;
    for (const auto& download : list_) {
        auto& record = download->record;
        if (download->session && record.state.is<DownloadState::Finished>()) {
            download->session.reset();
            record.session.reset();
        } else if (download->session && !download->isRemoved()) {
            needed.push_back({Owner(record), record.url, download->session});
        }
    }
    if (needed != kept_) {
        kept_ = needed;
        if (store_) {
            store_->keep(std::move(needed));
        }
    }
}

bool Sessions::isLost(const Download& download) {
    const auto& record = download.record;
    const bool hasAll = !record.pieces.empty() && allComplete(record.pieces);
    return record.session.value_or(false) && !download.session && !hasAll;
}

} // namespace fluvane
