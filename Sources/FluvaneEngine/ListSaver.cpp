// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ListSaver.h"

#include <algorithm>
#include <tuple>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr double retryDelay = 2; ///< Seconds until a list that couldn't be written is tried again.
}

ListSaver::ListSaver(std::shared_ptr<DownloadStore> store, std::shared_ptr<Scheduler> scheduler,
                     const DownloadList& list, Turns& turns)
    : store_(std::move(store)), scheduler_(std::move(scheduler)), list_(list), turns_(turns) {}

void ListSaver::changed() {
    if (begun_) {
        ++generations_.changed;
        writeIn(0);
    }
}

void ListSaver::whenSaved(Completion completion) {
    if (generations_.areEqual()) {
        scheduler_->after(0,
                          turns_.later([completion = std::move(completion)] { completion(std::nullopt); }));
        return;
    }
    waiters_.push_back({generations_.changed, std::move(completion)});
    writeIn(0);
}

void ListSaver::saveEverything(Completion completion) {
    checkpoint_.waiters.push_back(std::move(completion));
    wantCheckpoint();
}

void ListSaver::close(Download& download) {
    if (download.file) {
        closing_.add(download, std::exchange(download.file, nullptr));
        wantCheckpoint();
    }
}

void ListSaver::checkpointIfNew(std::int64_t received) {
    if (received != checkpoint_.received) {
        checkpoint_.received = received;
        wantCheckpoint();
    }
}

void ListSaver::finish() {
    store_->save(takeSnapshots(false), {}, {}); // stands if a file can't be synced
    store_->save(takeSnapshots(true), takeFiles().files, {});
    store_->flush();
    // A disk that took no list before took none now.
    for (const auto& waiter : std::exchange(waiters_, {})) {
        waiter.completion(error_);
    }
    for (const auto& completion : std::exchange(checkpoint_.waiters, {})) {
        completion(error_);
    }
}

// Writing

void ListSaver::writeIn(double seconds) {
    if (writeScheduled_ || writing_) {
        return;
    }
    writeScheduled_ = true;
    scheduler_->after(seconds, turns_.later([this] {
        writeScheduled_ = false;
        if (!writing_) {
            write();
        }
    }));
}

void ListSaver::write() {
    if (checkpoint_.wanted && !checkpoint_.running) {
        checkpoint();
        return;
    }
    writing_ = true;
    checkpoint_.overtaken = true;
    store_->save(takeSnapshots(false), {},
                 turns_.later([this, generation = generations_.changed](const SaveResult& result) {
                     writing_ = false;
                     written(generation, result);
                 }));
}

void ListSaver::written(std::int64_t generation, const SaveResult& result) {
    error_ = result.error;
    if (result.error) {
        answerWaiters(result.error);
        writeIn(retryDelay);
        return;
    }
    generations_.written = std::max(generations_.written, generation);
    answerWaiters(std::nullopt);
    if (!generations_.areEqual() || (checkpoint_.wanted && !checkpoint_.running)) {
        writeIn(0);
    }
}

/// All of them when the list couldn't be written.
void ListSaver::answerWaiters(const std::optional<std::string>& error) {
    std::vector<Completion> ready;
    std::erase_if(waiters_, [&](Waiter& waiter) {
        if (!error && waiter.generation > generations_.written) {
            return false;
        }
        ready.push_back(std::move(waiter.completion));
        return true;
    });
    for (const auto& completion : ready) {
        completion(error);
    }
}

// Checkpoints

void ListSaver::wantCheckpoint() {
    checkpoint_.wanted = true;
    writeIn(0);
}

/// Brings what running and just halted downloads have written to stable storage, and the list up to it.
void ListSaver::checkpoint() {
    checkpoint_.running = true;
    checkpoint_.wanted = false;
    checkpoint_.overtaken = false;
    auto [owners, files] = takeFiles();
    auto records = takeSnapshots(true);
    store_->save(std::move(records), std::move(files),
                 turns_.later([this, owners = std::move(owners), captured = captured(),
                               generation = generations_.changed,
                               waiting = std::exchange(checkpoint_.waiters, {})](const SaveResult& result) {
                     checkpoint_.running = false;
                     distrust(owners, result.unsynced);
                     checkpointDone(captured);
                     if (result.unsynced.empty()) {
                         written(generation, result);
                     }
                     for (const auto& completion : waiting) {
                         whenSaved(completion);
                     }
                 }));
    if (!generations_.areEqual()) {
        writeIn(0); // what a user was told must not wait for the sync
    }
}

void ListSaver::distrust(const std::vector<Owner>& owners, const std::vector<std::size_t>& unsynced) {
    for (const auto index : unsynced) {
        const auto& [id, generation] = owners[index];
        if (Download* const download = list_.find(id)) {
            download->claim.distrust(generation);
        }
        ++generations_.changed; // the list wasn't stored
    }
}

void ListSaver::checkpointDone(const std::vector<Captured>& captured) {
    for (const auto& [owner, record] : captured) {
        if (Download* const download = list_.find(owner.first)) {
            const bool isAll = !download->file && download->record.pieces == record->pieces;
            download->claim.synced(owner.second, record->pieces, isAll);
        }
    }
    if (checkpoint_.overtaken) {
        ++generations_.changed; // the list written meanwhile claims less
    }
    if (checkpoint_.wanted || !generations_.areEqual()) {
        writeIn(0);
    }
}

void ListSaver::Syncing::add(const Download& download, std::shared_ptr<PieceFile> file) {
    owners.emplace_back(download.id(), download.claim.generation());
    files.push_back(std::move(file));
}

/// The files that a list claiming all that was written has to wait for.
ListSaver::Syncing ListSaver::takeFiles() {
    auto taken = std::exchange(closing_, {});
    for (const auto& download : list_) {
        if (download->file) {
            taken.add(*download, download->file);
        }
    }
    return taken;
}

/// What the records just handed over claim beyond what is known to be on disk.
std::vector<ListSaver::Captured> ListSaver::captured() const {
    std::vector<Captured> captured;
    for (const auto& download : list_) {
        if (download->claim.durable()) {
            captured.push_back({{download->id(), download->claim.generation()}, download->claim.saved});
        }
    }
    return captured;
}

std::vector<RecordSnapshot> ListSaver::takeSnapshots(bool claimLive) {
    std::vector<RecordSnapshot> records;
    records.reserve(list_.all().size());
    for (const auto& download : list_) {
        download->claim.saved = snapshot(*download, claimLive);
        records.push_back(download->claim.saved);
    }
    return records;
}

/// The record as it is to be saved; the one saved last when nothing changed.
RecordSnapshot ListSaver::snapshot(const Download& download, bool claimLive) const {
    const auto& [saved, durable] = std::tie(download.claim.saved, download.claim.durable());
    const bool isHeld = download.record.state.isWaiting(State::Wait::limitedNetwork) ||
                        download.record.state.isWaiting(State::Wait::space);
    if (!durable && !isHeld) {
        const bool isSame = saved && *saved == download.record;
        return isSame ? saved : std::make_shared<const DownloadRecord>(download.record);
    }
    auto record = download.record;
    if (isHeld) {
        record.state = State::Queued{}; // neither a limited network nor a full disk outlives a restart
    }
    if (durable) {
        record.pieces = claimLive && !download.claim.isDistrusted() ? download.livePieces() : *durable;
    }
    const bool isSame = saved && *saved == record;
    return isSame ? saved : std::make_shared<const DownloadRecord>(std::move(record));
}

} // namespace fluvane
