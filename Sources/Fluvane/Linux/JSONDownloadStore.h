// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/SerialQueue.h"
#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"
#include "TessivarCore/AtomicFile.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace fluvane {

/// The list of downloads in one JSON file. Made and used on the main queue; files are synced on one queue of
/// its own and lists written on another, so that a slow sync holds no later save up. Saves still pending are
/// done before the destructor returns.
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
    void save(std::vector<RecordSnapshot> records, std::vector<std::shared_ptr<PieceFile>> syncing,
              std::function<void(const SaveResult&)> completion) override;
    void flush() override;

private:
    using Records = std::vector<RecordSnapshot>;
    using Completion = std::function<void(const SaveResult&)>;
    /// Records and their text in the file. They are kept alive, so that a pointer stands for one record only.
    using Encoded = std::unordered_map<RecordSnapshot, std::string>;

    /// One whose files are synced, but which was left to a later one.
    struct Overtaken {
        std::int64_t number;
        Records records;
        Completion completion;
    };

    void synced(std::int64_t number, Records records, Completion completion);
    void notSynced(std::int64_t number);
    void enqueue(std::int64_t number, Records records, Completion completion);
    void write(std::int64_t number, const Records& records, Completion completion);
    void writeFile(const Records& records);
    [[nodiscard]] SaveResult tried(const Records& records);
    void done(std::int64_t number, const SaveResult& result);
    void complete(Completion completion, const SaveResult& result);

    tessivar::AtomicFile file_;
    MainQueue& mainQueue_;

    std::mutex mutex_;               ///< For the five below.
    std::int64_t latest_ = 0;        ///< Number of the latest save.
    std::int64_t enqueued_ = 0;      ///< Number of the latest list given to `writing_`.
    std::int64_t written_ = 0;       ///< Number of the latest list written, or failed to be.
    SaveResult lastResult_;          ///< Of that one.
    std::vector<Overtaken> waiting_; ///< In the order of the calls.

    // For `writing_` alone.
    Encoded encoded_;                  ///< As of the last write.
    std::optional<std::string> error_; ///< Of the last write, told to the log once.

    SerialQueue writing_;
    SerialQueue syncing_; // ends first: it feeds the other
};

} // namespace fluvane
