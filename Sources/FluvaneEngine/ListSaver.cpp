// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/ListSaver.h"

#include "FluvaneCore/RecordDigest.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

namespace fluvane {

using State = DownloadState;

namespace {

constexpr double retryDelay = 2; ///< Seconds until a list that couldn't be written is tried again.
/// Seconds that saving everything waits for disks. Systems put a sleep off for 5 s, and the list comes after.
constexpr double sleepPatience = 4;
/// Seconds that the end waits for disks. One that was asleep has spun up by then, and nobody who quits waits
/// longer for bytes that can be fetched again.
constexpr double endPatience = 10;

/// The record as it is to be saved; that it is unchanged when it is what was saved last.
RecordToSave toSave(Download& download, const DownloadRecord& record) {
    const auto now = digest(record);
    if (std::exchange(download.claim.saved, now) == now) {
        return record.id;
    }
    return std::make_shared<const DownloadRecord>(record);
}

RecordToSave toSave(Download& download) {
    const auto& durable = download.claim.durable();
    const bool isHeld = download.record.state.isWaiting(State::Wait::limitedNetwork) ||
                        download.record.state.isWaiting(State::Wait::space);
    if (!durable && !isHeld) {
        return toSave(download, download.record);
    }
    auto record = download.record;
    if (isHeld) {
        record.state = State::Queued{}; // neither a limited network nor a full disk outlives a restart
    }
    if (durable) {
        record.pieces = *durable;
    }
    return toSave(download, record);
}

} // namespace

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
    waiters_.push_back({generations_.changed, std::move(completion)}); // the end tells those, too
    if (generations_.areEqual()) {
        scheduler_->after(0, turns_.later([this] { answerWaiters(std::nullopt); }));
    } else {
        writeIn(0);
    }
}

void ListSaver::onceSaved(std::function<void()> then) {
    waiters_.push_back(
        {generations_.changed, [then = std::move(then)](const auto& /*none*/) { then(); }, true});
    writeIn(0);
}

void ListSaver::saveEverything(Completion completion) {
    wantCheckpoints();
    const auto patient = std::make_shared<Patient>();
    patient->completion = std::move(completion);
    for (const auto& [device, disk] : disks_) {
        patient->checkpoints[device] = disk.covering();
    }
    patients_.push_back(patient);
    beginSoon();
    scheduler_->after(sleepPatience, turns_.later([this, patient] { release(patient); }));
}

void ListSaver::close(Download& download) {
    if (auto file = std::exchange(download.file, nullptr)) {
        auto& disk = disks_[file->identity().device];
        disk.closing.push_back({download.id(), download.claim.generation(), std::move(file)});
        disk.wanted = true;
        beginSoon();
    }
}

void ListSaver::checkpointIfNew(std::int64_t received) {
    if (received != received_) {
        received_ = received;
        wantCheckpoints();
        beginSoon();
    }
}

bool ListSaver::finish() {
    finishing_ = true;
    const auto patients = std::exchange(patients_, {});
    changed(); // the list as it may be claimed now doesn't wait for the disks
    wantCheckpoints();
    beginSoon();
    const bool isDone = store_->flush(endPatience);
    if (!isDone) {
        log::files.error("a disk didn't answer at the end: what was written there since the last save will "
                         "be fetched again");
    }
    if (!generations_.areEqual() && !error_) {
        error_ = tessivar::kept("kept", "The disk doesn't answer");
    }
    const auto waiters = std::exchange(waiters_, {});
    for (const auto& waiter : waiters) {
        if (!error_ || !waiter.isPatient) {
            waiter.completion(error_);
        }
    }
    for (const auto& patient : patients) {
        patient->completion(error_);
    }
    return isDone;
}

// Writing

void ListSaver::writeIn(double seconds) {
    if (finishing_ && !writing_) {
        write();
    }
    if (finishing_ || writeScheduled_ || writing_) {
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
    writing_ = true;
    store_->save(takeRecords(), turns_.later([this, generation = generations_.changed](const auto& error) {
        writing_ = false;
        written(generation, error);
    }));
}

void ListSaver::written(std::int64_t generation, const std::optional<std::string>& error) {
    if (error) {
        giveAnew(error == DownloadStore::needsAll);
    }
    if (error == DownloadStore::needsAll) {
        write();
        return;
    }
    error_ = error;
    if (!error) {
        generations_.written = generation;
    }
    answerWaiters(error);
    if (error && !finishing_) {
        writeIn(retryDelay);
    } else if (generations_.changed > generation) {
        writeIn(0);
    }
}

/// All of them when the list couldn't be written.
void ListSaver::answerWaiters(const std::optional<std::string>& error) {
    std::vector<Completion> ready;
    std::erase_if(waiters_, [&](Waiter& waiter) {
        if (error ? waiter.isPatient : waiter.generation > generations_.written) {
            return false;
        }
        ready.push_back(std::move(waiter.completion));
        return true;
    });
    for (const auto& completion : ready) {
        completion(error);
    }
}

std::vector<RecordToSave> ListSaver::takeRecords() {
    std::vector<RecordToSave> records;
    records.reserve(list_.all().size() + list_.leftovers().size());
    given_.clear();
    for (const auto& download : list_) {
        records.push_back(toSave(*download));
        if (records.back().record) {
            given_.push_back(download->id());
        }
    }
    records.insert(records.end(), list_.leftovers().begin(), list_.leftovers().end());
    return records;
}

/// What wasn't stored.
void ListSaver::giveAnew(bool all) {
    for (const auto id : given_) {
        if (Download* const download = list_.find(id)) {
            download->claim.saved.reset();
        }
    }
    if (all) {
        std::ranges::for_each(list_, [](const auto& download) { download->claim.saved.reset(); });
    }
}

// Checkpoints

/// Of every disk that an open file is on.
void ListSaver::wantCheckpoints() {
    for (const auto& download : list_) {
        if (download->file) {
            disks_[download->file->identity().device].wanted = true;
        }
    }
}

/// On the next turn, so that files closed together are synced together.
void ListSaver::beginSoon() {
    if (finishing_) {
        beginCheckpoints();
    } else if (!std::exchange(checkpointScheduled_, true)) {
        scheduler_->after(0, turns_.later([this] {
            checkpointScheduled_ = false;
            beginCheckpoints();
        }));
    }
}

void ListSaver::beginCheckpoints() {
    for (auto& [device, disk] : disks_) {
        if (disk.wanted && !disk.isSyncing()) {
            begin(device, disk);
        }
    }
    releaseCovered();
}

void ListSaver::begin(Device device, Disk& disk) {
    auto written = takeFiles(device, disk);
    disk.wanted = false;
    ++disk.begun;
    if (written.empty()) {
        ++disk.done;
        return;
    }
    std::vector<Noted> noted;
    std::vector<std::shared_ptr<PieceFile>> files;
    for (auto& one : written) {
        noted.push_back(note(one));
        files.push_back(std::move(one.file)); // the last one to hold it may wait for its disk
    }
    store_->sync(std::move(files), turns_.later([this, device, noted = std::move(noted)](const auto& failed) {
        synced(device, noted, failed);
    }));
}

std::vector<ListSaver::Written> ListSaver::takeFiles(Device device, Disk& disk) const {
    auto taken = std::exchange(disk.closing, {});
    for (const auto& download : list_) {
        if (download->file && download->file->identity().device == device) {
            taken.push_back({download->id(), download->claim.generation(), download->file});
        }
    }
    return taken;
}

ListSaver::Noted ListSaver::note(const Written& written) const {
    Noted noted{written.id, written.generation, {}};
    const Download* const download = list_.find(written.id);
    if (download && download->claim.durable()) {
        noted.pieces = download->livePieces();
    }
    return noted;
}

void ListSaver::synced(Device device, const std::vector<Noted>& noted,
                       const std::vector<std::size_t>& failed) {
    auto& disk = disks_[device];
    disk.done = disk.begun;
    for (const auto index : failed) { // first: a download may have been opened anew, and have two files
        if (Download* const download = list_.find(noted[index].id)) {
            download->claim.distrust(noted[index].generation);
        }
    }
    for (const auto& one : noted) {
        claim(one);
    }
    changed();
    beginCheckpoints();
}

/// A claim takes nothing of an earlier generation, and nothing once a sync has failed.
void ListSaver::claim(const Noted& noted) const {
    Download* const download = list_.find(noted.id);
    if (download && noted.pieces) {
        const bool isAll = !download->file && download->record.pieces == *noted.pieces;
        download->claim.synced(noted.generation, *noted.pieces, isAll);
    }
}

bool ListSaver::isCovered(const Patient& patient) const {
    return std::ranges::all_of(patient.checkpoints, [this](const auto& checkpoint) {
        return disks_.at(checkpoint.first).done >= checkpoint.second;
    });
}

void ListSaver::releaseCovered() {
    for (const auto& patient : std::vector(patients_)) {
        if (isCovered(*patient)) {
            release(patient);
        }
    }
}

/// Now it waits for the list, which claims what was synced by now.
void ListSaver::release(const std::shared_ptr<Patient>& patient) {
    if (std::erase(patients_, patient) > 0) {
        whenSaved(std::exchange(patient->completion, nullptr));
    }
}

} // namespace fluvane
