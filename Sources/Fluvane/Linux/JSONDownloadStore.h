// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/SerialQueue.h"
#include "Fluvane/Linux/WorkLanes.h"
#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"
#include "TessivarCore/AtomicFile.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// The list of downloads in one JSON file. Made and used on the main queue; lists are written on one queue of
/// its own, and files are synced on a lane for each file system. What is still pending is done before the
/// destructor returns, which it doesn't while a disk hangs.
///
/// The file: {"downloads": [record…], "version": 1}, UTF-8, indented by 2, keys of every object sorted, dates
/// ISO 8601 in UTC with whole seconds. Readable by its owner alone, like its folder.
class JSONDownloadStore : public DownloadStore {
public:
    /// `applicationIdentifier` labels the queues. `mainQueue`, where completions are called, must outlive the
    /// store.
    JSONDownloadStore(std::filesystem::path file, MainQueue& mainQueue,
                      const std::string& applicationIdentifier);
    ~JSONDownloadStore() override;

    /// A file that makes no sense is logged and moved aside: ".unreadable" is appended to its name, unless an
    /// older one has that name. One that can't even be read (permissions, a bad disk) may hold the whole
    /// list, and the next save would replace it: it is moved aside too, to a numbered name if need be.
    [[nodiscard]] std::vector<DownloadRecord> load() override;
    void save(std::vector<RecordToSave> records, Saved completion) override;
    void sync(std::vector<std::shared_ptr<PieceFile>> files, Synced completion) override;
    [[nodiscard]] bool flush(double seconds) override;

private:
    class Completions;
    using Records = std::vector<RecordToSave>;
    /// Where a record's text is in the file as it was written last, from where an unchanged one is taken:
    /// all of them together would take as much memory as the list itself.
    struct Place {
        DownloadID id;
        std::int64_t at;
        std::size_t length;
        std::size_t hash; ///< Others may write into the file, or the disk damage it.
    };
    class Former;

    [[nodiscard]] std::vector<DownloadRecord> read();
    /// Why it couldn't be.
    [[nodiscard]] std::optional<std::string> write(const Records& records);
    void writeFile(const Records& records);
    [[nodiscard]] std::vector<Place> put(const Records& records, const tessivar::AtomicFile::Put& into) const;

    tessivar::AtomicFile file_;
    std::shared_ptr<Completions> completions_;

    // For `writing_` alone.
    std::vector<Place> places_;        ///< As of the last write that succeeded.
    std::optional<std::string> error_; ///< Of the last write, told to the log once.

    // These end first.
    SerialQueue writing_;
    WorkLanes syncing_; ///< By the file system.
};

} // namespace fluvane
