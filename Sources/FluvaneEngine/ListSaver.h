// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Turns.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// Keeps the saved list up with the list. What is saved claims only bytes that are on stable storage: changes
/// are written soon after the turn that made them, with the pieces as of the last checkpoint; a checkpoint
/// hands the store the open files to sync together with the pieces as they are. So no command waits for the
/// sync of a busy file, and at most one write and one checkpoint are under way.
class ListSaver {
public:
    /// With the reason why the list can't be written now; it is tried again then until it can.
    using Completion = std::function<void(const std::optional<std::string>& error)>;

    ListSaver(std::shared_ptr<DownloadStore> store, std::shared_ptr<Scheduler> scheduler,
              const DownloadList& list, Turns& turns);

    /// Before this nothing is written, since it would replace the saved list.
    void begin() { begun_ = true; }
    /// The list changed.
    void changed();
    /// Closes the download's file. That syncs, which may take long: the next checkpoint does both, off the
    /// engine's context.
    void close(Download& download);
    /// Begins a checkpoint if bytes came since the last one; `received` is a running total of all downloads.
    void checkpointIfNew(std::int64_t received);
    /// Calls back, on a later turn, once everything changed so far is on disk.
    void whenSaved(Completion completion);
    /// The same once all that was written is on stable storage too, and the list up to it.
    void saveEverything(Completion completion);
    /// Returns once the list is on disk with all that was written, and whoever waits for that was told.
    /// Nothing may change after that.
    void finish();

private:
    /// Whose file it is: the number and the layout of its pieces.
    using Owner = std::pair<DownloadID, Claim::Generation>;
    struct Syncing {
        std::vector<Owner> owners;
        std::vector<std::shared_ptr<PieceFile>> files;
        void add(const Download& download, std::shared_ptr<PieceFile> file);
    };
    struct Captured {
        Owner owner;
        RecordSnapshot record;
    };
    /// How far the list got: every change raises `changed`; a write carries the list as it stood at one.
    struct Generations {
        std::int64_t changed = 0;
        std::int64_t written = 0;
        [[nodiscard]] bool areEqual() const { return changed <= written; }
    };
    struct Checkpoint {
        bool wanted = false;
        bool running = false;
        bool overtaken = false; ///< A list was written after its own.
        std::int64_t received = 0;
        std::vector<Completion> waiters; ///< For the next one to begin.
    };
    struct Waiter {
        std::int64_t generation;
        Completion completion;
    };

    void writeIn(double seconds);
    void write();
    void written(std::int64_t generation, const SaveResult& result);
    void answerWaiters(const std::optional<std::string>& error);
    void wantCheckpoint();
    void checkpoint();
    void checkpointDone(const std::vector<Captured>& captured);
    void distrust(const std::vector<Owner>& owners, const std::vector<std::size_t>& unsynced);
    [[nodiscard]] RecordSnapshot snapshot(const Download& download, bool claimLive) const;
    [[nodiscard]] std::vector<RecordSnapshot> takeSnapshots(bool claimLive);
    [[nodiscard]] std::vector<Captured> captured() const;
    [[nodiscard]] Syncing takeFiles();

    std::shared_ptr<DownloadStore> store_;
    std::shared_ptr<Scheduler> scheduler_;
    const DownloadList& list_;
    Turns& turns_;
    Generations generations_;
    Checkpoint checkpoint_;
    Syncing closing_; ///< Halted downloads' files, closed once synced.
    std::vector<Waiter> waiters_;
    std::optional<std::string> error_; ///< Of the last list written.
    bool begun_ = false;
    bool writeScheduled_ = false;
    bool writing_ = false;
};

} // namespace fluvane
