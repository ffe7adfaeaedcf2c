// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The list: what is in it, how it is loaded and saved.

#include "FluvaneEngine/DownloadManager.h"

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

DownloadManager::DownloadManager(Config config, std::shared_ptr<HTTPTransport> transport,
                                 std::shared_ptr<FileStore> files, std::shared_ptr<Scheduler> scheduler,
                                 std::shared_ptr<DownloadStore> store, std::shared_ptr<PowerAssertion> power,
                                 std::shared_ptr<Notifier> notifier, std::function<double()> random,
                                 Surroundings surroundings)
    : config_(std::move(config)), transport_(std::move(transport)), files_(std::move(files)),
      scheduler_(std::move(scheduler)), store_(std::move(store)), power_(std::move(power)),
      notifier_(std::move(notifier)), random_(std::move(random)), surroundings_(std::move(surroundings)) {}

DownloadManager::~DownloadManager() = default;

void DownloadManager::assertContext() const {
    if (std::this_thread::get_id() != context_) {
        fatal("the download manager was used off the main queue");
    }
}

Download* DownloadManager::find(DownloadID id) const {
    // Numbers only grow and the list keeps the order of adding, so it is sorted by them unless edited by
    // hand.
    const auto position = std::ranges::lower_bound(downloads_, id, {}, &Download::id);
    if (position != downloads_.end() && (*position)->id() == id) {
        return position->get();
    }
    const auto any = std::ranges::find(downloads_, id, &Download::id);
    return any == downloads_.end() ? nullptr : any->get();
}

const Download* DownloadManager::download(DownloadID id) const {
    assertContext();
    return find(id);
}

std::vector<const Download*> DownloadManager::downloads() const {
    assertContext();
    std::vector<const Download*> list;
    list.reserve(downloads_.size());
    for (const auto& download : downloads_) {
        list.push_back(download.get());
    }
    return list;
}

// Start and stop

namespace {

/// Far below the end of the numbers, so that a list edited by hand leaves room for new ones.
constexpr std::int64_t largestID = std::int64_t{1} << 53;

/// Gives downloads with a repeated or senseless number, as only an edited list has, one of their own.
void renumber(std::vector<DownloadRecord>& records) {
    std::set<DownloadID> taken;
    std::vector<DownloadRecord*> without;
    for (auto& record : records) {
        if (number(record.id) < 1 || number(record.id) > largestID || !taken.insert(record.id).second) {
            without.push_back(&record);
        }
    }
    auto next = taken.empty() ? 1 : number(*taken.rbegin()) + 1;
    for (auto* const record : without) {
        record->id = DownloadID{next++};
    }
}

} // namespace

void DownloadManager::start() {
    assertContext();
    transport_->setSpeedLimit(config_.speedLimit);
    auto records = store_->load();
    renumber(records);
    for (auto& record : records) {
        nextID_ = std::max(nextID_, number(record.id) + 1);
        downloads_.push_back(std::make_unique<Download>(std::move(record)));
    }
    started_ = true;
    for (const auto& download : downloads_) {
        restore(*download);
    }
    log::lifecycle([this] { return fmt::format("loaded {} downloads", downloads_.size()); });
    save();
    pump();
    changed();
}

namespace {

/// Whether pieces that come from disk cover the file, so that they lead no write astray and leave no hole.
bool areSound(const DownloadRecord& record) {
    if (!record.size) {
        return record.pieces.size() == 1 && record.pieces[0].start == 0 && record.pieces[0].done >= 0;
    }
    std::int64_t reached = 0;
    for (const auto& piece : record.pieces) {
        if (piece.start != reached || !piece.end || *piece.end < reached || piece.done < 0 ||
            piece.done > *piece.end - piece.start) {
            return false;
        }
        reached = *piece.end;
    }
    return reached == *record.size;
}

} // namespace

void DownloadManager::restore(Download& download) {
    auto& record = download.record;
    if (!record.pieces.empty() && !areSound(record)) {
        log::files.error(
            fmt::format("download {}: its saved pieces make no sense, it starts afresh", record.id));
        record.pieces.clear();
    }
    if (wasMovedIntoPlace(download)) {
        record.file = record.folder.appending(*record.name);
        record.partial.reset();
        record.completed = surroundings_.today();
        for (auto& piece : record.pieces) {
            piece.setDone(piece.length().value_or(piece.done));
        }
        record.state = State::Finished{};
        log::downloads([&] { return fmt::format("download {} was moved into place already", record.id); });
        verifyFinishedFile(download);
        return;
    }
    if (record.state.is<State::Finished>() && record.file && files_->exists(*record.file)) {
        verifyFinishedFile(download); // a digest may have been under way
    }
    const auto& state = record.state;
    const bool wasRunning = state.isActive() || state.isWaiting(State::Wait::offline) ||
                            state.isWaiting(State::Wait::limitedNetwork);
    if (wasRunning) {
        record.state = State::Queued{};
    }
    if (!online_ && record.state.is<State::Queued>()) {
        record.state = State::Wait::offline;
    }
}

/// Whether the last run ended between the final move and the save that would have told of it. The move begins
/// only once `finishing` is on disk, under a name that was free.
bool DownloadManager::wasMovedIntoPlace(const Download& download) const {
    const auto& record = download.record;
    if (!record.state.is<State::Finishing>() || !record.partial || !record.name || !record.size ||
        files_->exists(*record.partial)) {
        return false;
    }
    return files_->size(record.folder.appending(*record.name)) == record.size;
}

void DownloadManager::stop() {
    assertContext();
    if (ticker_) {
        std::exchange(ticker_, nullptr)->cancel();
    }
    for (const auto& download : downloads_) {
        halt(*download);
    }
    store_->save(snapshots(false), {}, {}); // stands if a file can't be synced
    store_->save(snapshots(true), takeFiles().files, {});
    store_->flush();
    if (std::exchange(awake_, false)) {
        power_->keepAwake(false);
    }
    for (const auto& waiter : std::exchange(waiters_, {})) {
        waiter.completion(saveError_); // a disk that took no list before took none now
    }
    alive_ = std::make_shared<bool>(true); // whatever is still under way finds nobody
}

// Changes and their saving
//
// The saved list claims only bytes that are on stable storage. Changes are written soon after the turn that
// made them, with the pieces as of the last checkpoint; a checkpoint, every two seconds and after a halt,
// hands the store the open files to sync together with the pieces as they are. So no command waits for the
// sync of a busy file, and at most one write and one checkpoint are under way.

namespace {
constexpr double saveRetry = 2; ///< Seconds until a list that couldn't be written is tried again.
}

void DownloadManager::set(Download& download, DownloadState state) {
    download.record.state = std::move(state);
    save();
    if (batches_ == 0) {
        updateTicker();
        changed();
    }
}

void DownloadManager::changed() {
    if (onChange) {
        onChange();
    }
}

void DownloadManager::save() {
    if (started_) { // before that the list would replace the saved one
        ++generation_;
        writeSoon();
    }
}

void DownloadManager::writeSoon() {
    if (writeScheduled_ || writing_) {
        return;
    }
    writeScheduled_ = true;
    scheduler_->after(0, weakly([this] {
                          writeScheduled_ = false;
                          write();
                      }));
}

void DownloadManager::write() {
    if (checkpointWanted_ && !checkpointing_) {
        checkpoint();
        return;
    }
    writing_ = true;
    overtaken_ = true;
    store_->save(snapshots(false), {}, weakly([this, generation = generation_](const SaveResult& result) {
                     writing_ = false;
                     written(generation, result);
                 }));
}

void DownloadManager::written(std::int64_t generation, const SaveResult& result) {
    saveError_ = result.error;
    if (result.error) {
        answerWaiters(result.error);
        if (!writeScheduled_) {
            writeScheduled_ = true;
            scheduler_->after(saveRetry, weakly([this] {
                                  writeScheduled_ = false;
                                  if (!writing_) {
                                      write();
                                  }
                              }));
        }
        return;
    }
    writtenGeneration_ = std::max(writtenGeneration_, generation);
    answerWaiters(std::nullopt);
    if (generation_ > writtenGeneration_ || (checkpointWanted_ && !checkpointing_)) {
        writeSoon();
    }
}

/// All of them when the list couldn't be written.
void DownloadManager::answerWaiters(const std::optional<std::string>& error) {
    std::vector<SaveCompletion> ready;
    std::erase_if(waiters_, [&](Waiter& waiter) {
        if (!error && waiter.generation > writtenGeneration_) {
            return false;
        }
        ready.push_back(std::move(waiter.completion));
        return true;
    });
    for (const auto& completion : ready) {
        completion(error);
    }
}

void DownloadManager::whenSaved(SaveCompletion completion) {
    assertContext();
    if (generation_ <= writtenGeneration_) {
        scheduler_->after(0, weakly([completion = std::move(completion)] { completion(std::nullopt); }));
        return;
    }
    waiters_.push_back({generation_, std::move(completion)});
    writeSoon();
}

void DownloadManager::saveEverything(SaveCompletion completion) {
    assertContext();
    checkpointWaiters_.push_back(std::move(completion));
    checkpointWanted_ = true;
    writeSoon();
}

/// Brings what running and just halted downloads have written to stable storage, and the list up to it.
void DownloadManager::checkpoint() {
    checkpointing_ = true;
    checkpointWanted_ = false;
    overtaken_ = false;
    receivedAtCheckpoint_ = received_;
    auto [owners, files] = takeFiles();
    auto records = snapshots(true);
    std::vector<Captured> captured;
    for (const auto& download : downloads_) {
        if (download->durable) {
            captured.push_back({download->id(), download->pieceGeneration, download->saved});
        }
    }
    store_->save(
        std::move(records), std::move(files),
        weakly([this, owners = std::move(owners), captured = std::move(captured), generation = generation_,
                waiting = std::exchange(checkpointWaiters_, {})](const SaveResult& result) {
            checkpointing_ = false;
            distrust(owners, result.unsynced);
            checkpointDone(captured);
            if (result.unsynced.empty()) {
                written(generation, result);
            }
            for (const auto& completion : waiting) {
                whenSaved(completion);
            }
        }));
    if (generation_ > writtenGeneration_) {
        writeSoon(); // what a user was told must not wait for the sync
    }
}

/// What such a file got since its last good sync may be lost, and later syncs don't tell.
void DownloadManager::distrust(const std::vector<Syncing::Owner>& owners,
                               const std::vector<std::size_t>& unsynced) {
    for (const auto index : unsynced) {
        const auto& [id, pieceGeneration] = owners[index];
        Download* const download = find(id);
        if (download && download->pieceGeneration == pieceGeneration) {
            download->distrusted = true;
        }
        ++generation_; // the list wasn't stored
    }
}

void DownloadManager::checkpointDone(const std::vector<Captured>& captured) {
    for (const auto& [id, pieceGeneration, record] : captured) {
        Download* const download = find(id);
        if (!download || download->pieceGeneration != pieceGeneration || !download->durable ||
            download->distrusted) {
            continue;
        }
        if (!download->file && download->record.pieces == record->pieces) {
            download->durable.reset();
        } else {
            download->durable = record->pieces;
        }
    }
    if (overtaken_) {
        ++generation_; // the list written meanwhile claims less
    }
    if (checkpointWanted_ || generation_ > writtenGeneration_) {
        writeSoon();
    }
}

void DownloadManager::Syncing::add(const Download& download, std::shared_ptr<PieceFile> file) {
    owners.emplace_back(download.id(), download.pieceGeneration);
    files.push_back(std::move(file));
}

/// The files that a list claiming all that was written has to wait for.
DownloadManager::Syncing DownloadManager::takeFiles() {
    auto taken = std::exchange(closing_, {});
    for (const auto& download : downloads_) {
        if (download->file) {
            taken.add(*download, download->file);
        }
    }
    return taken;
}

std::vector<RecordSnapshot> DownloadManager::snapshots(bool claimLive) {
    std::vector<RecordSnapshot> records;
    records.reserve(downloads_.size());
    for (const auto& download : downloads_) {
        download->saved = snapshot(*download, claimLive);
        records.push_back(download->saved);
    }
    return records;
}

/// The record as it is to be saved; the one saved last when nothing changed.
RecordSnapshot DownloadManager::snapshot(Download& download, bool claimLive) const {
    const bool held = download.record.state.isWaiting(State::Wait::limitedNetwork);
    if (!download.durable && !held) {
        const bool same = download.saved && *download.saved == download.record;
        return same ? download.saved : std::make_shared<const DownloadRecord>(download.record);
    }
    auto record = download.record;
    if (held) {
        record.state = State::Queued{}; // a limited network never outlives a restart
    }
    if (download.durable) {
        record.pieces = claimLive && !download.distrusted ? download.livePieces() : *download.durable;
    }
    if (download.saved && *download.saved == record) {
        return download.saved;
    }
    return std::make_shared<const DownloadRecord>(std::move(record));
}

/// Gives a download new pieces, of which nothing is on disk yet.
void DownloadManager::layOut(Download& download, std::vector<Piece> pieces) {
    ++download.pieceGeneration;
    download.distrusted = false;
    download.durable = pieces;
    download.record.pieces = std::move(pieces);
    if (download.record.pieces.empty()) {
        download.durable.reset();
    }
}

} // namespace fluvane
