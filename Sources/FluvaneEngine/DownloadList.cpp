// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/DownloadList.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/UnfinishedFile.h"

#include <algorithm>
#include <limits>
#include <set>
#include <tuple>
#include <utility>

namespace fluvane {

namespace {

/// Far below the end of the numbers, so that a list edited by hand leaves room for new ones.
constexpr DownloadID largestID{std::int64_t{1} << 53};

DownloadID after(DownloadID id) {
    return DownloadID{checkedAdd(number(id), 1)};
}

void renumber(std::vector<DownloadRecord>& records) {
    std::set<DownloadID> taken;
    std::vector<DownloadRecord*> without;
    for (auto& record : records) {
        if (record.id < DownloadID{1} || record.id > largestID || !taken.insert(record.id).second) {
            without.push_back(&record);
        }
    }
    auto next = taken.empty() ? DownloadID{1} : after(*taken.rbegin());
    for (auto* const record : without) {
        record->id = std::exchange(next, after(next));
    }
}

auto placeInLine(const Download* download) {
    return std::tuple(!download->isPrioritized(), download->record.queueKey(), download->id());
}

} // namespace

void DownloadList::load(std::vector<DownloadRecord> records) {
    renumber(records);
    for (auto& record : records) {
        if (record.removed.value_or(false)) {
            nextID_ = std::max(nextID_, after(record.id));
            if (record.partial && !record.state.is<DownloadState::Finished>()) {
                keep(std::make_shared<const DownloadRecord>(std::move(record)));
            }
        } else {
            append(std::move(record));
        }
    }
}

Download& DownloadList::append(DownloadRecord record) {
    nextID_ = std::max(nextID_, after(record.id));
    return *items_.emplace_back(std::make_unique<Download>(std::move(record)));
}

void DownloadList::remove(const Download& download) {
    std::erase_if(items_, [&](const auto& item) { return item.get() == &download; });
}

void DownloadList::forget(const DownloadRecord& leftover) {
    std::erase_if(leftovers_, [&](const auto& kept) { return kept->id == leftover.id; });
}

Download* DownloadList::find(DownloadID id) const {
    // Numbers only grow and the list keeps the order of adding, so it is sorted by them unless edited by
    // hand.
    const auto position = std::ranges::lower_bound(items_, id, {}, &Download::id);
    if (position != items_.end() && (*position)->id() == id) {
        return position->get();
    }
    const auto any = std::ranges::find(items_, id, &Download::id);
    return any == items_.end() ? nullptr : any->get();
}

std::set<std::string> DownloadList::namesIn(const URL& folder, const Download& beside) const {
    std::set<std::string> names;
    for (const auto& other : items_) {
        const auto& record = other->record;
        if (other.get() == &beside) {
            continue;
        }
        const bool isSettled = record.partial || record.file || other->id() < beside.id();
        if (isSettled && record.name && record.folder == folder) {
            names.insert(*record.name);
        }
        if (record.moving && record.moving->folder == folder) {
            names.insert(record.moving->name);
        }
        if (const auto name =
                unfinishedFile::nameIn(folder, record.partial)) { // of one that has another by now
            names.insert(*name);
        }
    }
    return names;
}

std::vector<Download*> DownloadList::queued() const {
    std::vector<Download*> queued;
    for (const auto& download : items_) {
        if (download->record.state.is<DownloadState::Queued>()) {
            queued.push_back(download.get());
        }
    }
    return queued;
}

void DownloadList::sortLine(std::vector<Download*>& downloads) {
    std::ranges::sort(downloads, {}, placeInLine);
}

std::vector<Download*> DownloadList::line() const {
    auto line = queued();
    sortLine(line);
    return line;
}

void DownloadList::putFirst(Download& download) const {
    const auto line = this->line();
    if (line.empty() || line.front() == &download) {
        return;
    }
    const auto key = [](const Download* other) { return other->record.queueKey(); };
    const auto smallest = key(*std::ranges::min_element(line, {}, key));
    const bool canPrecede = smallest > std::numeric_limits<std::int64_t>::min();
    if (canPrecede && smallest <= download.record.queueKey()) {
        download.record.queueOrder = checkedSubtract(smallest, 1);
    }
}

} // namespace fluvane
