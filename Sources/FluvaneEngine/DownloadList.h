// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// The downloads in the order they were added, their numbers, and the line of those that wait to start.
/// Engine context only; a download lives until it is removed.
class DownloadList {
public:
    using Items = std::vector<std::unique_ptr<Download>>;

    /// Takes a saved list. Repeated and senseless numbers, as only an edited one has, are replaced.
    void load(std::vector<DownloadRecord> records);
    /// The number that the next one added has to have.
    [[nodiscard]] DownloadID nextID() const { return nextID_; }
    Download& append(DownloadRecord record);
    void remove(const Download& download);

    /// Removed downloads whose unfinished files may still be there: saved with the list, but not of it.
    [[nodiscard]] const std::vector<RecordSnapshot>& leftovers() const { return leftovers_; }
    void keep(RecordSnapshot leftover) { leftovers_.push_back(std::move(leftover)); }
    void forget(const DownloadRecord& leftover);

    /// Null when there is none.
    [[nodiscard]] Download* find(DownloadID id) const;
    [[nodiscard]] const Items& all() const { return items_; }
    [[nodiscard]] Items::const_iterator begin() const { return items_.begin(); }
    [[nodiscard]] Items::const_iterator end() const { return items_.end(); }

    /// The names that downloads beside this one have in the folder, or are about to get there, of which
    /// nothing need be on disk yet. Of those that were only asked for, the earlier download gets the name.
    [[nodiscard]] std::set<std::string> namesIn(const URL& folder, const Download& beside) const;

    /// In the order they were added.
    [[nodiscard]] std::vector<Download*> queued() const;
    /// The queued ones in the order in which they start: prioritized first, then by their place.
    [[nodiscard]] std::vector<Download*> line() const;
    static void sortLine(std::vector<Download*>& downloads);
    /// Gives the download a place before all that are queued.
    void putFirst(Download& download) const;

private:
    Items items_;
    std::vector<RecordSnapshot> leftovers_;
    DownloadID nextID_{1};
};

} // namespace fluvane
