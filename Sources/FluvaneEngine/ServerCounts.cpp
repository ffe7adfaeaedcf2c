// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ServerCounts.h"

#include "FluvaneCore/Coding.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace fluvane {

namespace {

using Json = nlohmann::json;
constexpr std::chrono::hours counts{24};
constexpr std::chrono::hours kept{30 * 24};

std::int64_t seconds(Date date) {
    return std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
}

} // namespace

ServerCounts::ServerCounts(Storage storage, std::function<Date()> today)
    : storage_(std::move(storage)), today_(std::move(today)) {
    if (storage_.load) {
        load(storage_.load());
    }
}

/// Takes any text: what makes no sense is left out.
void ServerCounts::load(const std::string& text) {
    const auto json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return;
    }
    for (const auto& [site, entry] : json.items()) {
        const bool isSound =
            entry.is_array() && entry.size() == 3 &&
            std::ranges::all_of(entry, [](const auto& one) { return one.is_number_integer(); });
        const auto served = isSound ? entry[0].template get<std::int64_t>() : 0;
        const auto refused = isSound ? entry[1].template get<std::int64_t>() : 0;
        const auto since = isSound ? entry[2].template get<std::int64_t>() : -1;
        if (served >= 1 && refused > served && refused <= 1000 && since >= 0 && since <= seconds(today_())) {
            const Date seen{std::chrono::seconds(since)};
            sites_.insert_or_assign(site, Entry{static_cast<int>(served), static_cast<int>(refused), seen});
        }
    }
}

std::string ServerCounts::text() const {
    auto json = Json::object();
    for (const auto& [site, entry] : sites_) {
        json[site] = {entry.served, entry.refused, seconds(entry.seen)};
    }
    return json.dump();
}

void ServerCounts::refused(const std::string& site, int asked, int served) {
    if (served < 1 || asked <= served) {
        return;
    }
    const auto known = sites_.find(site);
    const bool isFresh = known != sites_.end() && today_() - known->second.seen < counts;
    const int fewest = isFresh ? std::min(asked, known->second.refused) : asked;
    sites_.insert_or_assign(site, Entry{.served = served, .refused = fewest, .seen = today_()});
    forgetOld();
    if (storage_.save) {
        storage_.save(text());
    }
}

std::optional<int> ServerCounts::most(const std::string& site) const {
    const auto known = sites_.find(site);
    if (known == sites_.end() || today_() - known->second.seen >= counts) {
        return std::nullopt;
    }
    // It may serve a few more; finding out costs a refusal each time.
    return std::min(known->second.served, known->second.refused - 1);
}

void ServerCounts::forgetOld() {
    std::erase_if(sites_, [now = today_()](const auto& site) { return now - site.second.seen >= kept; });
}

} // namespace fluvane
