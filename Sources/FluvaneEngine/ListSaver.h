// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Turns.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

/// Keeps the saved list up with the list, and its claims up with the unfinished files. A checkpoint of a disk
/// notes how far the pieces in its files are and has the files synced; only then may a list claim what was
/// noted. Lists never wait for that: each is written soon after the turn that changed something, with what
/// may be claimed by then. So a disk that is slow, or hangs, holds up the claims of its own files only. At
/// most one write is under way, and one checkpoint of each disk.
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
    /// Closes the download's file. That syncs, which may take long: the next checkpoint of its disk does
    /// both, off the engine's context.
    void close(Download& download);
    /// Begins a checkpoint if bytes came since the last one; `received` is a running total of all downloads.
    void checkpointIfNew(std::int64_t received);
    /// Calls back, on a later turn, once everything changed so far is on disk.
    void whenSaved(Completion completion);
    /// The same however long it takes, and only then: errors aren't told.
    void onceSaved(std::function<void()> then);
    /// The same as `whenSaved` once all that was written is on stable storage too, and the list up to it;
    /// without what is on a disk that doesn't answer within seconds.
    void saveEverything(Completion completion);
    /// Returns once the list is on disk with all that was written, and whoever waits for that was told; false
    /// when a disk didn't answer. Nothing may change after that.
    [[nodiscard]] bool finish();

private:
    using Device = std::uint64_t; ///< Of a `FileIdentity`.

    /// A file to sync, and the layout of its download's pieces that was written into it.
    struct Written {
        DownloadID id;
        Claim::Generation generation;
        std::shared_ptr<PieceFile> file;
    };
    /// What may be claimed once a file is synced.
    struct Noted {
        DownloadID id;
        Claim::Generation generation;
        std::optional<std::vector<Piece>> pieces; ///< Absent when all is known to be on stable storage.
    };
    struct Disk {
        std::vector<Written> closing; ///< Halted downloads' files, closed once synced.
        bool wanted = false;          ///< A checkpoint of what was written since the last one began.
        std::int64_t begun = 0;       ///< Checkpoints.
        std::int64_t done = 0;
        [[nodiscard]] bool isSyncing() const { return begun > done; }
        /// The checkpoint after which all that was written so far is on stable storage.
        [[nodiscard]] std::int64_t covering() const { return begun + (wanted ? 1 : 0); }
    };
    /// How far the list got: every change raises `changed`; a write carries the list as it stood at one.
    struct Generations {
        std::int64_t changed = 0;
        std::int64_t written = 0;
        [[nodiscard]] bool areEqual() const { return changed <= written; }
    };
    struct Waiter {
        std::int64_t generation;
        Completion completion;
        bool isPatient = false; ///< Isn't told of errors.
    };
    /// One that waits for checkpoints first.
    struct Patient {
        std::map<Device, std::int64_t> checkpoints;
        Completion completion;
    };

    void writeIn(double seconds);
    void write();
    void written(std::int64_t generation, const std::optional<std::string>& error);
    void answerWaiters(const std::optional<std::string>& error);
    void wantCheckpoints();
    void beginSoon();
    void beginCheckpoints();
    void begin(Device device, Disk& disk);
    [[nodiscard]] std::vector<Written> takeFiles(Device device, Disk& disk) const;
    [[nodiscard]] Noted note(const Written& written) const;
    void synced(Device device, const std::vector<Noted>& noted, const std::vector<std::size_t>& failed);
    void claim(const Noted& noted) const;
    [[nodiscard]] bool isCovered(const Patient& patient) const;
    void releaseCovered();
    void release(const std::shared_ptr<Patient>& patient);
    [[nodiscard]] std::vector<RecordToSave> takeRecords();
    void giveAnew(bool all);

    std::shared_ptr<DownloadStore> store_;
    std::shared_ptr<Scheduler> scheduler_;
    const DownloadList& list_;
    Turns& turns_;
    Generations generations_;
    std::map<Device, Disk> disks_;
    std::int64_t received_ = 0; ///< As of the last checkpoint.
    std::vector<Waiter> waiters_;
    std::vector<std::shared_ptr<Patient>> patients_;
    std::vector<DownloadID> given_;    ///< Whose records the list that is written last has anew.
    std::optional<std::string> error_; ///< Of the last list written.
    bool begun_ = false;
    bool writeScheduled_ = false;
    bool writing_ = false;
    bool checkpointScheduled_ = false;
    bool finishing_ = false; ///< There are no later turns.
};

} // namespace fluvane
